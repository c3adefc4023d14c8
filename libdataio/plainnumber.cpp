#include <libdataio/plainnumber_p.h>

#include <cstdint>
#include <cstdlib>

namespace zd {

namespace {

/// Takes characters off the front of a text.
class Scanner {
public:
    explicit Scanner(QStringView text) : m_at(text.begin()), m_end(text.end()) {}

    bool atEnd() const { return m_at == m_end; }

    bool take(char16_t character)
    {
        const bool there = !atEnd() && *m_at == character;
        m_at += there ? 1 : 0;
        return there;
    }

    /// Appends digits to `number`; returns how many there were, one more than `most` when there are too many.
    int takeDigits(std::int64_t& number, int most)
    {
        int count = 0;
        for (; !atEnd() && *m_at >= u'0' && *m_at <= u'9' && count <= most; ++m_at, ++count)
            number = 10 * number + (m_at->unicode() - u'0');
        return count;
    }

private:
    QStringView::const_iterator m_at;
    QStringView::const_iterator m_end;
};

constexpr int mostIntegerDigits = 9;  // they fit an int
constexpr int mostDecimalDigits = 15; // they are exact in double precision, and so are the powers of ten below
constexpr double powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                  1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int largestPower = 22;

/// The number behind an "e"; false when there is none.
bool takeExponent(Scanner& text, int& exponent)
{
    const bool negative = text.take(u'-');
    if (!negative)
        text.take(u'+');
    std::int64_t digits = 0;
    const int count = text.takeDigits(digits, 2);
    exponent = static_cast<int>(negative ? -digits : digits);
    return count == 1 || count == 2;
}

} // namespace

std::optional<int> plainInteger(QStringView text)
{
    Scanner scanner(text);
    std::int64_t number = 0;
    const int digits = scanner.takeDigits(number, mostIntegerDigits);
    if (digits == 0 || digits > mostIntegerDigits || !scanner.atEnd())
        return std::nullopt;
    return static_cast<int>(number);
}

std::optional<double> plainDecimal(QStringView text)
{
    Scanner scanner(text);
    const bool negative = scanner.take(u'-');
    std::int64_t digits = 0;
    const int before = scanner.takeDigits(digits, mostDecimalDigits);
    const int behind = scanner.take(u'.') ? scanner.takeDigits(digits, mostDecimalDigits - before) : 0;
    int exponent = 0;
    if (before == 0 || before + behind > mostDecimalDigits ||
        (scanner.take(u'e') && !takeExponent(scanner, exponent)) || !scanner.atEnd())
        return std::nullopt;
    exponent -= behind;
    if (std::abs(exponent) > largestPower)
        return std::nullopt;
    // One operation on two exact numbers: the result is the nearest there is.
    const double power = powersOfTen[std::abs(exponent)];
    const double number = exponent < 0 ? static_cast<double>(digits) / power : static_cast<double>(digits) * power;
    return negative ? -number : number;
}

} // namespace zd
