#include <movietools/exchange/video/childprogram_p.h>

#include <movietools/job/joberror.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zd::movietools {

namespace {

/// What a spawned program begins with; released at the end of the scope.
class SpawnPlan {
public:
    SpawnPlan()
    {
        posix_spawn_file_actions_init(&m_files);
        posix_spawnattr_init(&m_attributes);
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        posix_spawnattr_setsigdefault(&m_attributes, &defaults);
        posix_spawnattr_setpgroup(&m_attributes, 0);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    ~SpawnPlan()
    {
        posix_spawn_file_actions_destroy(&m_files);
        posix_spawnattr_destroy(&m_attributes);
    }

    void connect(int fd, int as) { posix_spawn_file_actions_adddup2(&m_files, fd, as); }
    void silence(int fd) { posix_spawn_file_actions_addopen(&m_files, fd, "/dev/null", O_RDWR, 0); }

    int start(pid_t& pid, const QString& program, const QStringList& arguments)
    {
        std::vector<QByteArray> words{program.toUtf8()};
        for (const QString& argument : arguments)
            words.push_back(argument.toUtf8());
        std::vector<char*> pointers;
        for (QByteArray& word : words)
            pointers.push_back(word.data());
        pointers.push_back(nullptr);
        return ::posix_spawnp(&pid, words.front().constData(), &m_files, &m_attributes, pointers.data(), environ);
    }

private:
    posix_spawn_file_actions_t m_files{};
    posix_spawnattr_t m_attributes{};
};

} // namespace

ChildProgram::ChildProgram(const QString& program, const QStringList& arguments, Direction direction,
                           const QString& path)
    : m_program(program), m_path(path)
{
    // A socket, because writing to one that nobody reads can be an error instead of a deadly signal.
    std::array<int, 2> ends{-1, -1};
    m_messages = ::memfd_create("messages", MFD_CLOEXEC);
    if (m_messages < 0 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        const int error = errno;
        ::close(m_messages);
        throw systemError(path, QStringLiteral("handed to %1").arg(program), error);
    }
    m_fd = ends[0];
    const bool takes = direction == Direction::TakesBytes;
    SpawnPlan plan;
    plan.connect(ends[1], takes ? STDIN_FILENO : STDOUT_FILENO);
    plan.silence(takes ? STDOUT_FILENO : STDIN_FILENO);
    plan.connect(m_messages, STDERR_FILENO);
    const int error = plan.start(m_pid, program, arguments);
    ::close(ends[1]);
    if (error == 0)
        return;
    m_pid = -1;
    ::close(m_fd);
    ::close(m_messages);
    if (error == ENOENT)
        refuse(path, QStringLiteral("needs the program %1, which is not installed").arg(program),
               QStringLiteral("install the package ffmpeg, or use another form"));
    throw systemError(path, QStringLiteral("handed to %1").arg(program), error);
}

ChildProgram::~ChildProgram()
{
    if (m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        wait();
    }
    closeConversation();
    ::close(m_messages);
}

void ChildProgram::closeConversation()
{
    if (m_fd >= 0)
        ::close(std::exchange(m_fd, -1));
}

int ChildProgram::wait()
{
    int status = 0;
    while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
    return status;
}

void ChildProgram::write(const void* data, std::size_t size)
{
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t sent = ::send(m_fd, next, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR)
            continue;
        if (sent < 0) {
            closeConversation();
            wait();
            reportFailure();
        }
        next += sent;
        size -= static_cast<std::size_t>(sent);
    }
}

std::size_t ChildProgram::read(void* data, std::size_t size)
{
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = ::read(m_fd, static_cast<char*>(data) + done, size - done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

void ChildProgram::finish()
{
    closeConversation();
    if (wait() != 0)
        reportFailure();
}

void ChildProgram::reportFailure()
{
    std::array<char, 400> text{};
    const ssize_t length = ::pread(m_messages, text.data(), text.size(), 0);
    const QString words = QString::fromUtf8(text.data(), length < 0 ? 0 : length).trimmed();
    refuse(m_path,
           QStringLiteral("%1 failed: %2")
               .arg(m_program,
                    words.isEmpty() ? QStringLiteral("it ended early") : words.section(QLatin1Char('\n'), 0, 0)),
           {});
}

} // namespace zd::movietools
