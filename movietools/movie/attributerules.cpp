#include <movietools/movie/attributerules.h>

#include <libdataio/imagefilelayout.h>
#include <movietools/movie/checksum.h>

#include <algorithm>

namespace zd::movietools {

namespace {

bool isLatin1(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() <= 0xFF; });
}

bool hasLineBreak(const QString& text)
{
    return text.contains(QLatin1Char('\n'));
}

} // namespace

QString whyNotStorable(const QString& name, const QString& value)
{
    if (name.isEmpty())
        return QStringLiteral("has no name");
    if (name.contains(QLatin1Char('=')) || hasLineBreak(name))
        return QStringLiteral("has a line break or \"=\" in its name");
    if (name.startsWith(QLatin1Char('#')) || name.front().isSpace())
        return QStringLiteral("begins with \"#\" or a blank");
    if (value.isEmpty())
        return QStringLiteral("has no value");
    if (hasLineBreak(value))
        return QStringLiteral("has a line break in its value");
    if (value.front().isSpace() || value.back().isSpace())
        return QStringLiteral("has a blank at an end of its value");
    if (!isLatin1(name) || !isLatin1(value))
        return QStringLiteral("has characters beyond Latin-1, which movies cannot hold");
    return {};
}

bool describesFrames(const QString& name)
{
    namespace key = layout::key;
    for (const QLatin1StringView& taken :
         {key::endian, key::width, key::height, key::pixType, key::pixBits, checksumAttribute}) {
        if (name == taken)
            return true;
    }
    return name.startsWith(key::frameTimer);
}

} // namespace zd::movietools
