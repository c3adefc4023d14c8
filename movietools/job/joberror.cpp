#include <movietools/job/joberror.h>

#include <common/iofileexception.h>

#include <cerrno>
#include <system_error>

namespace zd::movietools {

namespace {

struct Advice {
    const char* code;
    const char* text;
};

constexpr Advice advices[] = {
    {"FR_OF_STAT", "check the name and the folder"},
    {"FR_OF_REGFILE", "name a movie file"},
    {"FR_OF_OPEN", "check the file's permissions"},
    {"FW_OF_OPEN", "check the folder and its permissions"},
    {"FW_OF_OPEN2", "check the file's permissions"},
    {"IR_MISSINFO", "it is no VQF movie, or its recording was cut off: try vqf recover"},
    {"CHB_LFD_PARSE", "it is no VQF movie, or damaged: try vqf recover"},
    {"CI_L_CHUNK", "the movie is damaged: try vqf recover"},
    {"FDCW_AC_WRITE", "free some space or write elsewhere"},
    {"CHB_WFD_WRITE", "free some space or write elsewhere"},
};

QString adviceFor(const QString& code)
{
    for (const Advice& advice : advices)
        if (code == QLatin1StringView(advice.code))
            return QString::fromLatin1(advice.text);
    return {};
}

// The library's messages begin with the path, which the caller of a job gets separately.
QString withoutPath(QString message, const QString& path)
{
    for (const QString& start : {QStringLiteral("File %1 : ").arg(path), QStringLiteral("File %1: ").arg(path),
                                 QStringLiteral("%1 ").arg(path)}) {
        if (message.startsWith(start))
            return message.mid(start.size());
    }
    return message;
}

// The writer of a movie that another one holds.
bool tellsOfBusyMovie(const IOFileException& report)
{
    const QString busy = QString::fromStdString(std::generic_category().message(EBUSY));
    return report.code().startsWith(QLatin1StringView("FW_OF_OPEN")) && report.message().contains(busy);
}

JobError busyError(const QString& path, const QString& code)
{
    return {path, QStringLiteral("is being recorded or changed by another program"),
            QStringLiteral("wait until that has ended"), code, true};
}

} // namespace

void refuse(const QString& path, const QString& problem, const QString& advice)
{
    throw JobError{path, problem, advice, {}};
}

void refuseBusy(const QString& path)
{
    throw busyError(path, {});
}

JobError jobError(const IOFileException& report, const QString& path, const QString& workPath)
{
    if (tellsOfBusyMovie(report))
        return busyError(path, report.code());
    QString problem = withoutPath(report.message(), path);
    if (!workPath.isEmpty())
        problem = withoutPath(problem, workPath);
    while (problem.endsWith(QLatin1Char('.')))
        problem.chop(1);
    return {path, problem, adviceFor(report.code()), report.code()};
}

JobError systemError(const QString& path, const QString& what, int error)
{
    QString advice;
    if (error == ENOSPC || error == EDQUOT || error == EFBIG)
        advice = QStringLiteral("free some space or write elsewhere");
    else if (error == EACCES || error == EPERM || error == EROFS)
        advice = QStringLiteral("check the permissions");
    else if (error == ENOENT || error == ENOTDIR)
        advice = QStringLiteral("check the name and the folder");
    const QString text = QString::fromStdString(std::generic_category().message(error));
    return {path, QStringLiteral("cannot be %1: %2").arg(what, text), advice, {}};
}

} // namespace zd::movietools
