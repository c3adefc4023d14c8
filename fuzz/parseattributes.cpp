#include <fuzz/require.h>
#include <fuzz/targets.h>

#include <common/zdpalette.h>
#include <libdataio/attributepaletteadaptor.h>
#include <libdataio/chunkinfo.h>
#include <libdataio/frametimer.h>

namespace zd::fuzz {

namespace {

QString dumped(const AttributeChunk& attributes)
{
    QString text;
    attributes.dump(text);
    return text;
}

void readPalette(const AttributeChunk& attributes)
{
    ZdPalette palette;
    AttributePaletteAdaptor::attributesToPalette(attributes, palette, QString());
    require(static_cast<std::size_t>(palette.size()) <= attributes.attributes().size(), "no node from nowhere");
    AttributeChunk stored;
    AttributePaletteAdaptor::paletteToAttributes(palette, stored, QStringLiteral("p"));
    ZdPalette again;
    AttributePaletteAdaptor::attributesToPalette(stored, again, QStringLiteral("p"));
    palette.checkBounds();
    require(again.size() == palette.size(), "a stored palette comes back");
}

void readTimes(ChunkInfo& info)
{
    FrameTimer times;
    const bool complete = times.readFromChunkInfo(info);
    require(times.size() * 2 <= info.attributes().size(), "no time from nowhere");
    FrameTimer::removeFromAttChunk(info);
    FrameTimer none;
    require(!none.readFromChunkInfo(info) && none.empty(), "removed times are gone");
    if (complete) {
        times.dumpToChunkInfo(info);
        require(none.readFromChunkInfo(info) && none.size() >= times.size(), "stored times come back");
    }
}

} // namespace

void parseAttributes(Input input)
{
    const QString text =
        QString::fromUtf8(reinterpret_cast<const char*>(input.data()), static_cast<qsizetype>(input.size()));
    ChunkInfo attributes;
    attributes.parse(text);
    const QString first = dumped(attributes);
    AttributeChunk again;
    again.parse(first);
    require(dumped(again) == first, "what was dumped is parsed as it was");

    const QByteArray latin1 = text.toLatin1();
    AttributeChunk fromBytes;
    fromBytes.parseLatin1(latin1.constData(), static_cast<std::size_t>(latin1.size()));
    AttributeChunk fromText;
    fromText.parse(QString::fromLatin1(latin1));
    require(dumped(fromBytes) == dumped(fromText), "bytes and text give the same");

    readPalette(attributes);
    readTimes(attributes);
    require(!AttributeChunk::formatComment(text).contains(u'\n'), "one line");
}

} // namespace zd::fuzz
