#include <tests/support/faults.h>

#include <algorithm>
#include <csignal>
#include <stdexcept>
#include <vector>

namespace zd::test {

namespace {

Faults* active = nullptr;

std::size_t partOf(std::size_t size)
{
    switch (active->fault().share) {
    case Share::OneByte:
        return std::min<std::size_t>(size, 1);
    case Share::Half:
        return (size + 1) / 2;
    case Share::AllButOne:
        return std::max<std::size_t>(size, 2) - 1;
    default:
        return 0;
    }
}

// The share of each kind of transfer. Other calls have none.
template <typename Call, typename Buffer>
ssize_t shareOf(Call call, int fd, Buffer* buffer, std::size_t size)
{
    const std::size_t part = std::min(size, partOf(size));
    return part == 0 ? 0 : call(fd, buffer, part);
}

template <typename Call>
ssize_t shareOf(Call call, int fd, const iovec* pieces, int count, off_t offset)
{
    std::size_t size = 0;
    for (int i = 0; i < count; ++i)
        size += pieces[i].iov_len;
    std::size_t part = std::min(size, partOf(size));
    std::vector<iovec> cut(pieces, pieces + count);
    for (iovec& piece : cut) {
        piece.iov_len = std::min(piece.iov_len, part);
        part -= piece.iov_len;
    }
    return call(fd, cut.data(), count, offset);
}

template <typename Call, typename... Arguments>
auto shareOf(Call, Arguments...)
{
    return -1;
}

void killIfDeadly()
{
    if (active->fault().deadly)
        std::raise(SIGKILL);
}

template <Calls kind, auto entry, typename Result, typename... Arguments>
Result standIn(Arguments... arguments)
{
    const auto call = active->system().*entry;
    const Faults::Fate fate = active->meet(kind);
    if (fate == Faults::Fate::Passes)
        return call(arguments...);
    if (fate == Faults::Fate::CutShort) {
        const auto moved = static_cast<Result>(shareOf(call, arguments...));
        killIfDeadly();
        return moved;
    }
    if (fate == Faults::Fate::Fails)
        killIfDeadly();
    if (fate == Faults::Fate::FailsAfterwards || kind == call::close)
        call(arguments...);
    killIfDeadly();
    errno = active->fault().error;
    return -1;
}

template <Calls kind, auto entry, typename Result, typename... Arguments>
void install(Result (*SystemCalls::*)(Arguments...))
{
    systemCalls.*entry = standIn<kind, entry, Result, Arguments...>;
}

template <Calls kind, auto entry>
void install()
{
    install<kind, entry>(entry);
}

void installAll()
{
    install<call::open, &SystemCalls::open>();
    install<call::duplicate, &SystemCalls::duplicateAbove>();
    install<call::stat, &SystemCalls::stat>();
    install<call::fstat, &SystemCalls::fstat>();
    install<call::statFileSystem, &SystemCalls::fstatfs>();
    install<call::read, &SystemCalls::read>();
    install<call::write, &SystemCalls::write>();
    install<call::readPieces, &SystemCalls::preadv>();
    install<call::writePieces, &SystemCalls::pwritev>();
    install<call::seek, &SystemCalls::lseek>();
    install<call::truncate, &SystemCalls::ftruncate>();
    install<call::allocate, &SystemCalls::fallocate>();
    install<call::sync, &SystemCalls::fdatasync>();
    install<call::lock, &SystemCalls::flock>();
    install<call::close, &SystemCalls::close>();
    install<call::link, &SystemCalls::link>();
    install<call::rename, &SystemCalls::rename>();
    install<call::unlink, &SystemCalls::unlink>();
    install<call::setAttribute, &SystemCalls::fsetxattr>();
    install<call::getAttribute, &SystemCalls::fgetxattr>();
    install<call::removeAttribute, &SystemCalls::fremovexattr>();
}

} // namespace

Faults::Faults(const Fault& fault) : m_fault(fault), m_system(systemCalls)
{
    if (active != nullptr)
        throw std::logic_error("one Faults at a time");
    active = this;
    installAll();
}

Faults::~Faults()
{
    systemCalls = m_system;
    active = nullptr;
}

int Faults::calls(Calls kinds) const
{
    int sum = 0;
    for (const auto& [kind, count] : m_calls)
        sum += (kind & kinds) != 0 ? count : 0;
    return sum;
}

Faults::Fate Faults::meet(Calls kind)
{
    ++m_calls[kind];
    if ((kind & m_fault.among) == 0)
        return Fate::Passes;
    ++m_met;
    if (!struck())
        return Fate::Passes;

    const bool first = m_met == m_fault.at;
    const bool transfer = (kind & call::transfers) != 0;
    const bool partial = m_fault.share != Share::Nothing && m_fault.share != Share::All;
    if (m_fault.error == 0)
        return transfer && m_fault.share != Share::All && (first || m_fault.lasting) ? Fate::CutShort : Fate::Passes;
    if (first) {
        m_cut = transfer && partial;
        return m_cut ? Fate::CutShort : m_fault.share == Share::All ? Fate::FailsAfterwards : Fate::Fails;
    }
    const bool carriedOn = m_cut && m_met == m_fault.at + 1;
    return carriedOn || m_fault.lasting ? Fate::Fails : Fate::Passes;
}

} // namespace zd::test
