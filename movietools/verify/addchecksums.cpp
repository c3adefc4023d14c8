#include <movietools/verify/addchecksums.h>

#include <movietools/files/bytesource.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/checksum.h>
#include <movietools/movie/moviecontent_p.h>
#include <movietools/verify/verify.h>

namespace zd::movietools {

namespace {

MovieChecksums checksumsOf(const MovieContent& movie, const ProgressCallback& progress)
{
    MovieChecksums checksums;
    const std::vector<WalkedPiece> frames = movie.listedInFileOrder(ZD_FRAME_CHUNK);
    Progress done;
    done.framesTotal = frames.size();
    for (const WalkedPiece& frame : frames) {
        report(progress, done);
        checksums.frames.push_back(payloadChecksum(movie.bytes, frame));
        ++done.framesDone;
        done.bytesDone += frame.size;
    }
    report(progress, done);
    checksums.sideData = sideDataChecksum(movie.bytes, movie.listedSideData());
    return checksums;
}

void requireSound(const QString& path, const Verification& verification)
{
    for (const Finding& finding : verification.findings.list()) {
        if (finding.severity != Severity::Error || finding.name.startsWith(QLatin1StringView("checksum")))
            continue;
        refuse(path, QStringLiteral("is damaged (%1)").arg(finding.name),
               QStringLiteral("recover it first, then add checksums to the result"));
    }
}

} // namespace

ChecksumsAdded addChecksums(const QString& movie, bool replace, const ProgressCallback& progress,
                            WithoutJournal withoutJournal)
{
    MovieEdit edit(movie, withoutJournal);
    requireSound(movie, verifyMovie(movie));
    const FileBytes bytes(movie);
    const MovieContent content(bytes);
    const QString value = checksumsOf(content, progress).text();

    QString old;
    const bool hadOld = content.header.get(checksumAttribute, old);
    if (old == value)
        return ChecksumsAdded::AlreadyThere;
    if (hadOld && !replace)
        refuse(movie, QStringLiteral("has other checksums: it was changed, or is damaged"),
               QStringLiteral("verify it, and replace them only if it was meant to change"));
    AttributeChunk header = content.header;
    header.set(checksumAttribute, value);
    edit.storeHeader(header);
    return hadOld ? ChecksumsAdded::Replaced : ChecksumsAdded::Added;
}

} // namespace zd::movietools
