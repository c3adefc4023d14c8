#include <tests/support/toolprocess.h>

#include <QDir>
#include <QFileInfo>
#include <QProcess>

#include <csignal>
#include <stdexcept>
#include <thread>

#include <unistd.h>

namespace zd::test {

namespace {

constexpr int patience = 120'000; // milliseconds

Ended collect(QProcess& process)
{
    if (!process.waitForFinished(patience))
        throw std::runtime_error("the program does not end");
    Ended ended;
    ended.code = process.exitStatus() == QProcess::CrashExit ? 128 + process.exitCode() : process.exitCode();
    ended.output = process.readAllStandardOutput().toStdString();
    ended.errors = process.readAllStandardError().toStdString();
    return ended;
}

bool isWritingIn(qint64 program, const QString& folder)
{
    const QDir descriptors(QStringLiteral("/proc/%1/fd").arg(program));
    for (const QString& name : descriptors.entryList(QDir::Files | QDir::System | QDir::NoDotAndDotDot)) {
        char target[4096];
        const QByteArray path = descriptors.filePath(name).toUtf8();
        const ssize_t length = ::readlink(path.constData(), target, sizeof target);
        const QString text = QString::fromUtf8(target, length < 0 ? 0 : length);
        if (text.startsWith(folder + QStringLiteral("/#")) || text.startsWith(folder + QStringLiteral("/.vqf-")))
            return true;
    }
    return false;
}

} // namespace

Ended runScript(const QString& folder, const std::string& script)
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(QStringLiteral("/bin/sh"),
                  {QStringLiteral("-c"),
                   QStringLiteral("vqf() { \"" VQF_PROGRAM "\" \"$@\"; }\n") + QString::fromStdString(script)});
    return collect(process);
}

Ended runUntilWriting(const QString& folder, const QStringList& arguments, int signal)
{
    QProcess process;
    process.setWorkingDirectory(folder);
    process.start(QStringLiteral(VQF_PROGRAM), arguments);
    process.waitForStarted(patience);
    const QString realFolder = QFileInfo(folder).canonicalFilePath();
    for (int i = 0; i < patience && !isWritingIn(process.processId(), realFolder); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ::kill(static_cast<pid_t>(process.processId()), signal);
    return collect(process);
}

} // namespace zd::test
