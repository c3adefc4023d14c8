#include <libdataio/plainnumber_p.h>

#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <random>

namespace zd {

namespace {

/// Expects nothing, or what Qt gives. Returns whether there was a number.
bool agreesWithQt(const QString& text)
{
    SCOPED_TRACE(text.toStdString());
    bool valid = false;
    const int integer = text.toInt(&valid);
    const std::optional<int> plain = plainInteger(text);
    EXPECT_TRUE(!plain || (valid && *plain == integer));
    const double decimal = text.toDouble(&valid);
    const std::optional<double> plainer = plainDecimal(text);
    EXPECT_TRUE(!plainer || (valid && std::bit_cast<std::uint64_t>(*plainer) == std::bit_cast<std::uint64_t>(decimal)));
    EXPECT_TRUE(!plain || plainer) << "a decimal too";
    return plainer.has_value();
}

} // namespace

TEST(PlainNumber, ReadsWhatIsStored)
{
    for (const int value : {0, 7, 64, 999'999'999})
        EXPECT_EQ(plainInteger(QString::number(value)), value);
    for (const double value : {0.0, -0.0, 1.5, -1234.568, 4095.0, 1.0 / 3, 6.02e15, 1e-9})
        EXPECT_TRUE(agreesWithQt(QString::number(value, 'e', 6)) && plainDecimal(QString::number(value, 'e', 6)))
            << value;
    EXPECT_EQ(plainDecimal(u"-1.500000e+00"), -1.5);
    EXPECT_EQ(plainDecimal(u"12"), 12.0);
}

TEST(PlainNumber, LeavesTheRestToQt)
{
    const QString others =
        QStringLiteral("; 1;1 ;+1;-;.;.5;e5;1e;1e+;1e100;1e5x;1.2.3;0x10;nan;inf;1,5;1e23;--5;1.5e-22;"
                       "1234567890123456;0.1234567890123456");
    for (const QString& text : others.split(u';')) {
        EXPECT_EQ(plainInteger(text), std::nullopt) << text.toStdString();
        EXPECT_EQ(plainDecimal(text), std::nullopt) << text.toStdString();
    }
    for (const auto* text : {u"-5", u"1234567890", u"1.5", u"1e3", u"\u0665"})
        EXPECT_EQ(plainInteger(text), std::nullopt);
}

TEST(PlainNumber, AgreesWithQtOnAnyText)
{
    std::mt19937 random(1);
    const QString alphabet = QStringLiteral("0123456789012345678901234567890123456789.-+eE 00");
    int numbers = 0;
    for (int i = 0; i < 50'000; ++i) {
        QString text;
        for (std::uint64_t length = random() % 20; length > 0; --length)
            text += alphabet[static_cast<qsizetype>(random()) % alphabet.size()];
        numbers += agreesWithQt(text) ? 1 : 0;
        const double value = std::bit_cast<double>((std::uint64_t{random()} << 32) | std::uint64_t{random()});
        numbers += agreesWithQt(QString::number(value, 'g', static_cast<int>(random() % 17))) ? 1 : 0;
        if (HasFailure())
            return;
    }
    EXPECT_GT(numbers, 5'000);
}

} // namespace zd
