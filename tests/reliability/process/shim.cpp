// Loaded before a program (LD_PRELOAD), this stands between it and the system: it counts the calls that are about
// files of one folder, and lets one of them fail, or kills or stops the program there. The program becomes a nursery:
// it forks before its main function, for every run that is asked for, so that a run costs no loading of libraries.
//
// Request, in one line, fields separated by US: FOLDER EVENT AT OUTPUT ERRORS ARGUMENT... The child runs in
// FOLDER/work, with standard output and error in the files OUTPUT and ERRORS. Answer: STATUS CALLS STRUCK LOCKED
// LENGTH, and a log of LENGTH bytes. STATUS is that of waitpid; a stopped child goes on when the next line comes.
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

enum class Event {
    None,
    Fails,
    Full,
    Short,
    Half,
    Zero,
    Before,
    Inside,
    After,
    Stops,
    NoMemory,
    NeverMemory
};

struct Order {
    Event event;
    int error; // errno of a failing call
};

const std::map<std::string, Order> orders{{"", {Event::None, 0}},
                                          {"EIO", {Event::Fails, EIO}},
                                          {"ENOSPC", {Event::Fails, ENOSPC}},
                                          {"EINTR", {Event::Fails, EINTR}},
                                          {"full", {Event::Full, ENOSPC}},
                                          {"short", {Event::Short, 0}},
                                          {"half", {Event::Half, 0}},
                                          {"zero", {Event::Zero, 0}},
                                          {"before", {Event::Before, 0}},
                                          {"inside", {Event::Inside, 0}},
                                          {"after", {Event::After, 0}},
                                          {"stop", {Event::Stops, 0}},
                                          {"nomemory", {Event::NoMemory, 0}},
                                          {"nevermemory", {Event::NeverMemory, 0}}};

/// What child and nursery both see.
struct Account {
    int calls;
    int struck;
    int locked; // whether the program holds a lock on a movie
    std::size_t logged;
    char log[1 << 18];
};

Account* account = nullptr;
bool counts = false; // from when main begins
Order order{};
int strikeAt = 0; // the call that is struck, from 1
std::string folder;
char paths[256][256]; // of the files in the folder, by descriptor
int lockedFd = -1;

/// The arguments of a call. All that are met have at most six, integers and pointers, which the calling conventions of
/// 64-bit processors hand over in registers, whatever their types.
using Words = std::array<long, 6>;
using Real = long(long, long, long, long, long, long);

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

const char* ofPath(long path)
{
    const auto* const text = reinterpret_cast<const char*>(path);
    const bool isOurs = *text != '/' || std::string_view(text).starts_with(folder) ||
                        std::string_view(text).starts_with("/proc/self/fd/");
    return isOurs ? text : nullptr;
}

const char* ofFd(long fd)
{
    return fd >= 0 && fd < 256 && paths[fd][0] != '\0' ? paths[fd] : nullptr;
}

int fdOf(long directory)
{
    return directory == 0 ? -1 : ::dirfd(reinterpret_cast<DIR*>(directory));
}

/// Remembers the path of a descriptor, or forgets it.
void mark(long fd, const char* path)
{
    if (fd >= 0 && fd < 256)
        std::snprintf(paths[fd], sizeof paths[fd], "%s", path != nullptr ? path : "");
}

void noteLock(long fd, bool on)
{
    if (!std::string_view(paths[fd]).ends_with(".vqf"))
        return;
    account->locked = on ? 1 : 0;
    lockedFd = on ? static_cast<int>(fd) : -1;
}

enum class Kind {
    Plain,
    Opens,
    OpensFolder,
    Closes,
    Locks,
    Controls,
    Synchronises,
    Read,
    Write,
    PiecesIn,
    PiecesOut,
    Makes
};

/// A function of the system.
struct Call {
    const char* name;
    const char* path; // what it is about, null for what lies outside the folder
    Kind kind = Kind::Plain;
    long failure = -1;
    std::size_t size = 2; // which argument of a transfer is its length

    bool isTransfer() const { return kind >= Kind::Read && kind <= Kind::PiecesOut; }
    bool hasPieces() const { return kind == Kind::PiecesIn || kind == Kind::PiecesOut; }
    bool needsRoom() const { return kind == Kind::Write || kind == Kind::PiecesOut || kind == Kind::Makes; }
};

long lengthOf(const Call& call, const Words& words)
{
    if (!call.hasPieces())
        return call.isTransfer() ? words[call.size] : -1;
    const auto* const pieces = reinterpret_cast<const iovec*>(words[1]);
    long sum = 0;
    for (long i = 0; i < words[2]; ++i)
        sum += static_cast<long>(pieces[i].iov_len);
    return sum;
}

long make(const Call& call, Real* real, const Words& words)
{
    const long result = call.kind == Kind::Synchronises // a killed program's writes stay with the system: nothing waits
                            ? 0
                            : real(words[0], words[1], words[2], words[3], words[4], words[5]);
    const int fd = static_cast<int>(words[0]);
    const bool isLock = call.kind == Kind::Locks || (call.kind == Kind::Controls && words[1] == F_OFD_SETLK);
    if (call.kind == Kind::Opens)
        mark(static_cast<int>(result), call.path);
    if (call.kind == Kind::OpensFolder && call.path != nullptr)
        mark(fdOf(result), call.path);
    if (call.kind == Kind::Controls && (words[1] == F_DUPFD || words[1] == F_DUPFD_CLOEXEC))
        mark(static_cast<int>(result), ofFd(fd));
    if (isLock && static_cast<int>(result) == 0 && call.path != nullptr && counts)
        noteLock(fd, call.kind == Kind::Controls || (words[1] & LOCK_UN) == 0);
    return result;
}

/// A transfer that moves no more than `length` bytes, one at least, and not all of them unless there is but one.
long makeShort(const Call& call, Real* real, Words words, long length)
{
    if (!call.isTransfer())
        return make(call, real, words);
    length = std::max(1L, std::min(length, lengthOf(call, words) - 1));
    if (!call.hasPieces()) {
        words[call.size] = length;
        return make(call, real, words);
    }
    std::array<iovec, 64> pieces{};
    for (long i = 0; i < words[2]; ++i) {
        iovec& piece = pieces[static_cast<std::size_t>(i)] = reinterpret_cast<const iovec*>(words[1])[i];
        piece.iov_len = std::min(piece.iov_len, static_cast<std::size_t>(length));
        length -= static_cast<long>(piece.iov_len);
    }
    words[1] = reinterpret_cast<long>(pieces.data());
    return make(call, real, words);
}

void log(const Call& call, const Words& words)
{
    const std::size_t room = sizeof account->log - account->logged;
    const int length = std::snprintf(account->log + account->logged, room, "%s\t%s\t%ld\t%d\n", call.name, call.path,
                                     lengthOf(call, words), account->locked);
    account->logged = std::min(account->logged + static_cast<std::size_t>(length), sizeof account->log - 1);
}

long meet(const Call& call, Real* real, const Words& words)
{
    const bool isCounted = counts && call.path != nullptr && order.event < Event::NoMemory;
    if (isCounted)
        log(call, words);
    if (call.kind == Kind::Closes) {
        if (words[0] == lockedFd && counts)
            noteLock(words[0], false);
        mark(words[0], nullptr);
    }
    const int met = isCounted ? ++account->calls : 0;
    const bool isFull = order.event == Event::Full && met >= strikeAt && call.needsRoom();
    if (!isCounted || !(order.event == Event::Full ? isFull : met == strikeAt))
        return make(call, real, words);
    account->struck = 1;
    long result = call.failure;
    switch (order.event) {
    case Event::Short:
        return makeShort(call, real, words, 1);
    case Event::Half:
        return makeShort(call, real, words, lengthOf(call, words) / 2);
    case Event::Zero:
        return 0;
    case Event::Stops:
        ::raise(SIGSTOP);
        return make(call, real, words);
    case Event::Before:
        ::raise(SIGKILL);
        break;
    case Event::Inside:
        makeShort(call, real, words, lengthOf(call, words) / 2);
        ::raise(SIGKILL);
        break;
    case Event::After:
        make(call, real, words);
        ::raise(SIGKILL);
        break;
    default:
        if (call.kind == Kind::Closes)
            make(call, real, words); // a failing close still closes
        errno = order.error;
    }
    return result;
}

/// Whether a request for memory is refused.
bool isRefused()
{
    if (!counts || order.event < Event::NoMemory)
        return false;
    const int met = ++account->calls;
    const bool isStruck = met == strikeAt || (order.event == Event::NeverMemory && met > strikeAt);
    account->struck |= isStruck ? 1 : 0;
    errno = isStruck ? ENOMEM : errno;
    return isStruck;
}

} // namespace

// Defines the system's function `name`; `path`: what the call is about, told by its arguments a to f.
#define CALL(name, path, ...)                                                                                          \
    extern "C" __attribute__((visibility("default"))) long shim_##name(long a, long b, long c, long d, long e,         \
                                                                       long f) asm(#name);                             \
    long shim_##name([[maybe_unused]] long a, [[maybe_unused]] long b, [[maybe_unused]] long c,                        \
                     [[maybe_unused]] long d, long e, long f)                                                          \
    {                                                                                                                  \
        static Real* const real = next<Real>(#name);                                                                   \
        return meet({#name, path __VA_OPT__(, ) __VA_ARGS__}, real, {a, b, c, d, e, f});                               \
    }
#define FD(name) CALL(name, ofFd(a))
#define PATH(name) CALL(name, ofPath(a))

CALL(open, ofPath(a), Kind::Opens)
CALL(open64, ofPath(a), Kind::Opens)
CALL(mkostemp64, ofPath(a), Kind::Opens)
CALL(memfd_create, "memory", Kind::Opens)
CALL(opendir, ofPath(a), Kind::OpensFolder, 0)
CALL(readdir64, ofFd(fdOf(a)), Kind::Plain, 0)
CALL(close, ofFd(a), Kind::Closes)
CALL(fcntl64, b == F_GETFL || b == F_GETFD || b == F_SETFD ? nullptr : ofFd(a), Kind::Controls)
CALL(flock, ofFd(a), Kind::Locks)
CALL(fsync, ofFd(a), Kind::Synchronises)
CALL(fdatasync, ofFd(a), Kind::Synchronises)
CALL(read, ofFd(a), Kind::Read)
CALL(pread64, ofFd(a), Kind::Read)
CALL(readv, ofFd(a), Kind::PiecesIn)
CALL(preadv64, ofFd(a), Kind::PiecesIn)
CALL(write, ofFd(a), Kind::Write)
CALL(pwrite64, ofFd(a), Kind::Write)
CALL(writev, ofFd(a), Kind::PiecesOut)
CALL(pwritev64, ofFd(a), Kind::PiecesOut)
CALL(copy_file_range, ofFd(c), Kind::Write, -1, 4)
CALL(sendfile, ofFd(a), Kind::Write, -1, 3)
CALL(fallocate64, ofFd(a), Kind::Makes)
CALL(fsetxattr, ofFd(a), Kind::Makes)
CALL(mkdir, ofPath(a), Kind::Makes)
CALL(mkdtemp, ofPath(a), Kind::Makes, 0)
CALL(linkat, ofPath(d), Kind::Makes)
CALL(link, ofPath(b), Kind::Makes)
CALL(symlink, ofPath(b), Kind::Makes)
CALL(rename, ofPath(b))
CALL(renameat2, ofPath(d))
CALL(statx, ofPath(b))
CALL(realpath, ofPath(a), Kind::Plain, 0)
CALL(mmap, ofFd(e))
CALL(mmap64, ofFd(e))
CALL(pipe2, "pipe")
PATH(stat)
PATH(stat64)
PATH(lstat64)
PATH(statvfs64)
PATH(access)
PATH(readlink)
PATH(chmod)
PATH(rmdir)
PATH(unlink)
FD(fstat)
FD(fstat64)
FD(fstatfs64)
FD(fstatvfs64)
FD(ftruncate)
FD(ftruncate64)
FD(ioctl)
FD(fchmod)
FD(fchown)
FD(fgetxattr)
FD(flistxattr)
FD(fremovexattr)

// A nullptr or what the system's own function of another name makes.
#define MEMORY(name, own, parameters, arguments)                                                                       \
    extern "C" void* own parameters;                                                                                   \
    extern "C" __attribute__((visibility("default"))) void* shim_##name parameters asm(#name);                         \
    void* shim_##name parameters                                                                                       \
    {                                                                                                                  \
        return isRefused() ? nullptr : own arguments;                                                                  \
    }
MEMORY(malloc, __libc_malloc, (std::size_t size), (size))
MEMORY(calloc, __libc_calloc, (std::size_t count, std::size_t size), (count, size))
MEMORY(realloc, __libc_realloc, (void* block, std::size_t size), (block, size))
MEMORY(aligned_alloc, __libc_memalign, (std::size_t alignment, std::size_t size), (alignment, size))

namespace {

using Main = int(int, char**, char**);
Main* program = nullptr;
int requests = -1;
int answers = -1;

std::vector<std::string> request()
{
    std::vector<std::string> fields(1);
    for (char letter = 0; ::read(requests, &letter, 1) == 1 && letter != '\n';) {
        if (letter == '\x1f')
            fields.emplace_back();
        else
            fields.back() += letter;
    }
    return fields;
}

void redirect(const std::string& path, int fd)
{
    const int opened = ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    ::dup2(opened, fd);
    ::close(opened);
}

int live(std::vector<std::string> fields)
{
    ::close(requests);
    ::close(answers);
    folder = fields[0];
    order = orders.at(fields[1]);
    strikeAt = std::stoi(fields[2]);
    redirect("/dev/null", STDIN_FILENO);
    redirect(fields[3], STDOUT_FILENO);
    redirect(fields[4], STDERR_FILENO);
    ::setenv("TMPDIR", (folder + "/tmp").c_str(), 1);
    if (::chdir((folder + "/work").c_str()) != 0)
        std::abort();
    std::vector<char*> arguments;
    for (std::size_t i = 5; i < fields.size(); ++i)
        arguments.push_back(fields[i].data());
    arguments.push_back(nullptr);
    mark(STDOUT_FILENO, "standard output");
    const rlimit patience{10, RLIM_INFINITY}; // what loops dies, after seconds of the processor's; so does what waits
    ::setrlimit(RLIMIT_CPU, &patience);
    ::alarm(300);
    counts = true;
    const int code = program(static_cast<int>(arguments.size()) - 1, arguments.data(), environ);
    counts = order.event < Event::NoMemory;
    return code;
}

/// Waits until a child, and whatever it has started, has ended; tells that, and every stop before.
void watch(pid_t child)
{
    for (int status = 0;;) {
        ::waitpid(child, &status, WUNTRACED);
        while (!WIFSTOPPED(status) && ::waitpid(-1, nullptr, 0) > 0)
            ;
        ::dprintf(answers, "%d %d %d %d %zu\n", status, account->calls, account->struck, account->locked,
                  account->logged);
        for (std::size_t sent = 0; sent < account->logged;)
            sent += static_cast<std::size_t>(::write(answers, account->log + sent, account->logged - sent));
        if (!WIFSTOPPED(status))
            return;
        request();
        ::kill(child, SIGCONT);
    }
}

int nursery(int, char**, char**)
{
    ::unsetenv("LD_PRELOAD");
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    requests = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 900);
    answers = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 900);
    account = static_cast<Account*>(
        ::mmap(nullptr, sizeof(Account), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    for (;;) {
        const std::vector<std::string> fields = request();
        if (fields.size() < 6)
            return 0;
        account->calls = account->struck = account->locked = 0;
        account->logged = 0;
        const pid_t child = ::fork();
        if (child == 0)
            return live(fields);
        watch(child);
    }
}

} // namespace

extern "C" __attribute__((visibility("default"))) int
__libc_start_main(Main* main, int count, char** arguments, void* begin, void* end, void* unload, void* stack)
{
    program = main;
    return next<int(Main*, int, char**, void*, void*, void*, void*)>("__libc_start_main")(nursery, count, arguments,
                                                                                          begin, end, unload, stack);
}
