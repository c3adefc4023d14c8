#include <movietools/recover/recoveryheader_p.h>

#include <libdataio/frametimer.h>
#include <libdataio/imagefilelayout.h>
#include <movietools/frames/framelayout.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/checksum.h>
#include <movietools/movie/movieindex.h>

namespace zd::movietools {

namespace {

namespace key = layout::key;
using InfoPlace = RecoverySurvey::InfoPlace;
using HeaderSource = RecordingRemains::HeaderSource;

HeaderOrigin originOf(HeaderSource source)
{
    switch (source) {
    case HeaderSource::RecordingLog:
        return HeaderOrigin::RecordingLog;
    case HeaderSource::EditJournal:
        return HeaderOrigin::EditJournal;
    case HeaderSource::ExtendedAttribute:
        return HeaderOrigin::ExtendedAttribute;
    default:
        return HeaderOrigin::Nowhere;
    }
}

// Takes what is missing over from another header. Returns whether there was any of it.
bool fillIn(AttributeChunk& header, const AttributeChunk& other)
{
    bool filled = false;
    for (const auto& [name, value] : other.attributes()) {
        QString present;
        if (header.get(name, present))
            continue;
        header.set(name, value.text());
        filled = true;
    }
    return filled;
}

void takeText(RecoveredHeader& header, const QByteArray& text, HeaderOrigin origin)
{
    header.attributes.parseLatin1(text.constData(), static_cast<std::size_t>(text.size()));
    if (!std::as_const(header.attributes).attributes().empty())
        header.origin = origin;
}

// What the movie, its recording or its edit tells.
RecoveredHeader ownHeader(const RecoverySurvey& survey, const RecordingRemains& remains)
{
    RecoveredHeader header;
    if (survey.infoPlace() == InfoPlace::AtEnd)
        takeText(header, survey.info().text, HeaderOrigin::Movie);
    if (header.origin == HeaderOrigin::Nowhere)
        takeText(header, remains.headerText.toLatin1(), originOf(remains.headerSource));
    if (header.origin == HeaderOrigin::Nowhere)
        takeText(header, survey.info().text, HeaderOrigin::DamagedMovie);
    if (survey.infoPlace() == InfoPlace::AtEnd && survey.info().text.isEmpty())
        header.origin = HeaderOrigin::Movie; // a header without attributes
    return header;
}

AttributeChunk headerOfOtherMovie(const QString& path, const RecoverySurvey& survey)
{
    AttributeChunk header = readMovieInfo(path);
    const std::optional<std::int64_t> bytes = frameBytes(header);
    if (bytes && survey.usualFrameSize() && *bytes != *survey.usualFrameSize())
        refuse(path,
               QStringLiteral("has frames of %1 bytes, and the movie to recover frames of %2")
                   .arg(*bytes)
                   .arg(*survey.usualFrameSize()),
               QStringLiteral("name a movie of the same kind"));
    FrameTimer::removeFromAttChunk(header);
    header.erase(checksumAttribute);
    return header;
}

void guess(RecoveredHeader& header, std::int64_t frameSize)
{
    header.guessed = guessFrameLayout(header.attributes, frameSize);
    if (!header.guessed.isEmpty())
        header.attributes.set(guessAttribute, header.guessed.join(QLatin1Char(',')));
}

} // namespace

RecoveredHeader recoverHeader(const RecoverySurvey& survey, const RecordingRemains& remains,
                              const RecoverOptions& options)
{
    RecoveredHeader header = ownHeader(survey, remains);
    const auto completeFrom = [&header](const AttributeChunk& other, HeaderOrigin origin) {
        if (fillIn(header.attributes, other) && header.origin == HeaderOrigin::Nowhere)
            header.origin = origin;
    };
    if (!options.like.isEmpty() && !frameBytes(header.attributes))
        completeFrom(headerOfOtherMovie(options.like, survey), HeaderOrigin::OtherMovie);
    AttributeChunk arguments;
    for (const auto& [name, value] : options.attributes)
        arguments.set(name, value);
    completeFrom(arguments, HeaderOrigin::Arguments);
    // A movie that has its own header keeps it, whatever it leaves open.
    if (header.origin == HeaderOrigin::Movie)
        return header;
    AttributeChunk byteOrder;
    byteOrder.set(key::endian, layout::littleEndian);
    fillIn(header.attributes, byteOrder);
    if (survey.usualFrameSize())
        guess(header, *survey.usualFrameSize());
    return header;
}

} // namespace zd::movietools
