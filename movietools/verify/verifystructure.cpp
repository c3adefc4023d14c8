#include <movietools/verify/verifychecks_p.h>

#include <libdataio/imagefilelayout.h>
#include <movietools/job/wording.h>

namespace zd::movietools {

namespace {

using Kind = WalkedPiece::Kind;

const QString mendAdvice = QStringLiteral("recover the movie into a new file");

void checkLength(const MovieContent& movie, Findings& findings)
{
    const std::int64_t length = movie.bytes.length();
    const auto unsignedLength = static_cast<std::uint64_t>(length);
    const QString found = QStringLiteral("%1 bytes").arg(length);
    if (unsignedLength > layout::largestSizeLimit)
        findings.add({QStringLiteral("file-too-long"), Severity::Error, Finding::nowhere,
                      QStringLiteral("at most %1 bytes").arg(layout::largestSizeLimit), found,
                      QStringLiteral("the index cannot reach all of it: recover its first part")});
    else if (unsignedLength > layout::commonSizeLimit)
        findings.add({QStringLiteral("file-long"), Severity::Note, Finding::nowhere,
                      QStringLiteral("at most %1 bytes").arg(layout::commonSizeLimit), found,
                      QStringLiteral("some programs open no longer movies")});
    else if (length == 0)
        findings.add({QStringLiteral("file-empty"),
                      Severity::Error,
                      0,
                      QStringLiteral("chunks"),
                      QStringLiteral("an empty file"),
                      {}});
}

void checkDamagedChunk(const WalkedPiece& chunk, Findings& findings)
{
    if (chunk.type != chunk.endType) {
        findings.add({QStringLiteral("chunk-types-differ"), Severity::Error, chunk.offset,
                      QStringLiteral("the same type in both headers of a chunk"),
                      QStringLiteral("%1 and %2").arg(chunk.type).arg(chunk.endType), mendAdvice});
        return;
    }
    const std::int64_t header = chunk.startDamaged ? chunk.offset : chunk.payload() + chunk.size;
    findings.add({chunk.startDamaged ? QStringLiteral("chunk-start-damaged") : QStringLiteral("chunk-end-damaged"),
                  Severity::Error, header,
                  QStringLiteral("the header of a %1 with %2 bytes").arg(chunkText(chunk.type)).arg(chunk.size),
                  QStringLiteral("a damaged one"), mendAdvice});
}

void checkPiece(const WalkedPiece& piece, Findings& findings)
{
    const QString bytes = QStringLiteral("%1 bytes").arg(piece.length);
    switch (piece.kind) {
    case Kind::Chunk:
        if (piece.type != ZD_FRAME_CHUNK && piece.type != ZD_INFO_CHUNK && !isSideData(piece.type))
            findings.add({QStringLiteral("chunk-type-unknown"), Severity::Note, piece.offset,
                          QStringLiteral("a known type"), chunkText(piece.type),
                          QStringLiteral("another program may use it; it is left alone")});
        break;
    case Kind::DamagedChunk:
        checkDamagedChunk(piece, findings);
        break;
    case Kind::TornChunk:
        findings.add({QStringLiteral("chunk-torn"), Severity::Error, piece.offset,
                      QStringLiteral("a chunk that is complete"),
                      QStringLiteral("%1 at the end of the file").arg(bytes), mendAdvice});
        break;
    case Kind::Gap:
        findings.add({QStringLiteral("gap"), Severity::Error, piece.offset, QStringLiteral("a chunk"),
                      QStringLiteral("%1 that belong to none").arg(bytes), mendAdvice});
        break;
    }
}

// One info chunk, at the end; before it fibre centres, times and laser powers, each at most once, in that order.
void checkOrder(const MovieContent& movie, Findings& findings)
{
    if (!movie.infoChunk)
        findings.add({QStringLiteral("info-missing"), Severity::Error, movie.bytes.length(),
                      QStringLiteral("the info chunk at the end of the file"), QStringLiteral("none"),
                      QStringLiteral("recover the movie into a new file: its frames are found without it")});
    std::uint32_t lastSideData = 0;
    for (const WalkedPiece& piece : movie.pieces) {
        if (!piece.isWhole() || piece.offset == (movie.infoChunk ? movie.infoChunk->offset : Finding::nowhere))
            continue;
        if (piece.type == ZD_INFO_CHUNK)
            findings.add({QStringLiteral("info-misplaced"), Severity::Error, piece.offset,
                          QStringLiteral("one info chunk, at the end of the file"), QStringLiteral("another before it"),
                          mendAdvice});
        else if (lastSideData != 0 && (!isSideData(piece.type) || piece.type <= lastSideData))
            findings.add({QStringLiteral("chunk-order"), Severity::Error, piece.offset,
                          QStringLiteral("fibre centres, frame times, laser powers at the end, one of each at most"),
                          QStringLiteral("%1 behind %2").arg(chunkText(piece.type), chunkText(lastSideData)),
                          mendAdvice});
        if (isSideData(piece.type))
            lastSideData = piece.type;
    }
}

} // namespace

void checkStructure(const MovieContent& movie, Findings& findings)
{
    checkLength(movie, findings);
    for (const WalkedPiece& piece : movie.pieces)
        checkPiece(piece, findings);
    checkOrder(movie, findings);
}

} // namespace zd::movietools
