#include <libdataio/attributechunk.h>

#include <libdataio/plainnumber_p.h>

#include <QByteArray>
#include <QLatin1StringView>
#include <QStringView>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <optional>
#include <utility>

namespace zd {

namespace {

using Map = AttributeChunk::Map;

/// A line without the white space at its ends. Latin-1 text is judged by the same rule as any other, so that its
/// next-line and no-break blanks count too, which the view's own `trimmed` overlooks.
template <typename Text>
Text trimmed(Text line)
{
    qsizetype begin = 0;
    qsizetype end = line.size();
    while (begin < end && QChar(line[begin]).isSpace())
        ++begin;
    while (end > begin && QChar(line[end - 1]).isSpace())
        --end;
    return line.mid(begin, end - begin);
}

/// Where a character stands, -1 when nowhere.
qsizetype indexOf(QStringView text, char character)
{
    return text.indexOf(QLatin1Char(character));
}

qsizetype indexOf(QLatin1StringView text, char character)
{
    // Several times as fast as the view's own search.
    const void* found =
        text.isEmpty() ? nullptr : std::memchr(text.data(), character, static_cast<std::size_t>(text.size()));
    return found == nullptr ? -1 : static_cast<const char*>(found) - text.data();
}

QString copyOf(QStringView text)
{
    return text.toString();
}

QString copyOf(QLatin1StringView text)
{
    return QString(text);
}

/// Stores the attribute that a trimmed line holds, if any. `hint` and the result are the entry behind the one stored
/// last: names mostly come in order, and there they need no search.
template <typename Text>
Map::iterator storeLine(Text line, Map& attributes, Map::iterator hint)
{
    if (line.isEmpty() || QChar(line.front()) == u'#')
        return hint;
    const qsizetype nameLength = indexOf(line, '=');
    if (nameLength < 1 || nameLength + 1 == line.size())
        return hint;
    const auto entry = attributes.try_emplace(hint, copyOf(line.left(nameLength)));
    entry->second.assign(copyOf(line.mid(nameLength + 1)));
    const bool isLast = entry == std::prev(attributes.end());
    return isLast ? attributes.end() : std::next(entry);
}

template <typename Text>
void parseLines(Text text, Map& attributes)
{
    Map::iterator hint = attributes.end();
    while (!text.isEmpty()) {
        const qsizetype lineEnd = indexOf(text, '\n');
        const qsizetype lineLength = lineEnd < 0 ? text.size() : lineEnd;
        hint = storeLine(trimmed(text.left(lineLength)), attributes, hint);
        text = text.mid(lineEnd < 0 ? lineLength : lineLength + 1);
    }
}

/// Six digits after the point. What lies in the middle between two of these goes to the even one, which Qt's own conversion
/// does not do: 12345665 is 1.234566e+07.
QString exponentForm(double value)
{
    constexpr int digits = 6;
    if (value == 0 || !std::isfinite(value))
        return QString::number(value, 'e', digits);
    char text[32];
    const std::to_chars_result end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::scientific, digits);
    return QString::fromLatin1(text, end.ptr - text);
}

char* writeLatin1(const QString& text, char* out)
{
    for (const QChar character : text)
        *out++ = character.unicode() > 0xFF ? '?' : character.toLatin1();
    return out;
}

} // namespace

void Attribute::assign(int value)
{
    m_text = QString::number(value);
}

void Attribute::assign(char value)
{
    m_text = QLatin1Char(value);
}

void Attribute::assign(float value)
{
    m_text = exponentForm(static_cast<double>(value));
}

void Attribute::assign(QString value)
{
    m_text = std::move(value);
}

bool Attribute::read(int& out) const
{
    if (const std::optional<int> number = plainInteger(m_text)) {
        out = *number;
        return true;
    }
    bool valid = false;
    out = m_text.toInt(&valid);
    return valid;
}

bool Attribute::read(float& out) const
{
    if (const std::optional<double> number = plainDecimal(m_text)) {
        out = static_cast<float>(*number);
        return true;
    }
    // QString::toFloat turns an overflow into an infinity and refuses numbers too small for a float.
    bool valid = false;
    const double number = m_text.toDouble(&valid);
    if (std::isfinite(number) && std::fabs(number) > static_cast<double>(std::numeric_limits<float>::max()))
        valid = false;
    out = valid ? static_cast<float>(number) : 0.0F;
    return valid;
}

bool Attribute::read(char& out) const
{
    if (m_text.size() != 1)
        return false;
    out = m_text.front().toLatin1();
    return true;
}

AttributeChunk& AttributeChunk::operator=(const AttributeChunk& other)
{
    _changing() = other.m_attributes;
    return *this;
}

AttributeChunk::~AttributeChunk() = default;

void AttributeChunk::set(const QString& name, int value)
{
    _changing()[name].assign(value);
}

void AttributeChunk::set(const QString& name, char value)
{
    _changing()[name].assign(value);
}

void AttributeChunk::set(const QString& name, float value)
{
    _changing()[name].assign(value);
}

void AttributeChunk::set(const QString& name, const QString& value)
{
    _changing()[name].assign(value);
}

bool AttributeChunk::get(const QString& name, int& out) const
{
    const auto entry = m_attributes.find(name);
    return entry != m_attributes.end() && entry->second.read(out);
}

bool AttributeChunk::get(const QString& name, float& out) const
{
    const auto entry = m_attributes.find(name);
    return entry != m_attributes.end() && entry->second.read(out);
}

bool AttributeChunk::get(const QString& name, char& out) const
{
    const auto entry = m_attributes.find(name);
    return entry != m_attributes.end() && entry->second.read(out);
}

bool AttributeChunk::get(const QString& name, QString& out) const
{
    const auto entry = m_attributes.find(name);
    if (entry == m_attributes.end())
        return false;
    out = entry->second.text();
    return true;
}

int AttributeChunk::erase(const QString& name)
{
    return static_cast<int>(_changing().erase(name));
}

void AttributeChunk::clear()
{
    _changing().clear();
}

void AttributeChunk::merge(const AttributeChunk& other)
{
    Map& target = _changing();
    Map::iterator hint = target.begin();
    for (const auto& [name, value] : other.m_attributes)
        hint = target.insert_or_assign(hint, name, value);
}

void AttributeChunk::parse(const QString& text)
{
    // The text may be one of the values that parsing replaces.
    const QString held = text;
    parseLines(QStringView(held), _changing());
}

void AttributeChunk::parseLatin1(const char* data, std::size_t size)
{
    parseLines(QLatin1StringView(data, static_cast<qsizetype>(size)), _changing());
}

void AttributeChunk::dump(QString& out) const
{
    out.reserve(out.size() + static_cast<qsizetype>(textLength()));
    for (const auto& [name, value] : m_attributes) {
        out += name;
        out += u'=';
        out += value.text();
        out += u'\n';
    }
}

std::size_t AttributeChunk::textLength() const
{
    std::size_t length = 0;
    for (const auto& [name, value] : m_attributes)
        length += static_cast<std::size_t>(name.size()) + static_cast<std::size_t>(value.text().size()) + 2;
    return length;
}

void AttributeChunk::writeText(char* out) const
{
    for (const auto& [name, value] : m_attributes) {
        out = writeLatin1(name, out);
        *out++ = '=';
        out = writeLatin1(value.text(), out);
        *out++ = '\n';
    }
}

void AttributeChunk::dumpDebug() const
{
    std::printf("Attribute Chunk Dump:\nNumber of items: %zu\n", m_attributes.size());
    for (const auto& [name, value] : m_attributes)
        std::printf("%s -> %s\n", name.toLocal8Bit().constData(), value.text().toLocal8Bit().constData());
}

QString AttributeChunk::formatComment(const QString& text)
{
    QString line = text;
    line.replace(u'\a', u' ');
    line.replace(u'\n', u'\a');
    return line;
}

/// The entries, of which one is about to change.
AttributeChunk::Map& AttributeChunk::_changing()
{
    ++m_revision;
    return m_attributes;
}

AttributeChunk::Map& AttributeChunk::attributes()
{
    m_handedOut = true;
    return _changing();
}

AttributeChunk::Map::iterator AttributeChunk::attrBegin()
{
    return attributes().begin();
}

AttributeChunk::Map::iterator AttributeChunk::attrEnd()
{
    return attributes().end();
}

} // namespace zd
