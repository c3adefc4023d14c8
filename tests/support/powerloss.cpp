#include <tests/support/powerloss.h>

#include <tests/support/moviebytes.h>

#include <QDir>

#include <algorithm>
#include <stdexcept>

#include <fcntl.h>

namespace zd::test {

namespace {

PowerLoss* active = nullptr;

int openStandIn(const char* path, int flags, mode_t mode)
{
    const int fd = active->system().open(path, flags, mode);
    if (fd != -1)
        active->opened(path, flags, fd);
    return fd;
}

int duplicateStandIn(int fd, int lowest)
{
    const int copy = active->system().duplicateAbove(fd, lowest);
    if (copy != -1)
        active->duplicated(fd, copy);
    return copy;
}

ssize_t writeStandIn(int fd, const iovec* pieces, int count, off_t offset)
{
    std::string bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(static_cast<const char*>(pieces[i].iov_base), pieces[i].iov_len);
    const ssize_t moved = active->system().pwritev(fd, pieces, count, offset);
    if (moved > 0)
        active->written(fd, static_cast<std::size_t>(offset), bytes.substr(0, static_cast<std::size_t>(moved)));
    return moved;
}

int truncateStandIn(int fd, off_t length)
{
    const int result = active->system().ftruncate(fd, length);
    if (result == 0)
        active->truncated(fd, static_cast<std::size_t>(length));
    return result;
}

int syncStandIn(int fd)
{
    const int result = active->system().fdatasync(fd);
    if (result == 0)
        active->synchronised(fd);
    return result;
}

int linkStandIn(const char* from, const char* to)
{
    const int result = active->system().link(from, to);
    if (result == 0)
        active->linked(from, to);
    return result;
}

int unlinkStandIn(const char* path)
{
    const int result = active->system().unlink(path);
    if (result == 0)
        active->unlinked(path);
    return result;
}

int closeStandIn(int fd)
{
    active->closed(fd);
    return active->system().close(fd);
}

ssize_t refusedWrite(int, const void*, std::size_t)
{
    throw std::logic_error("writes without an offset are not recorded");
}

int refusedRename(const char*, const char*)
{
    throw std::logic_error("renames are not recorded");
}

} // namespace

PowerLoss::PowerLoss(const QString& directory) : m_directory(directory.toStdString() + "/"), m_system(systemCalls)
{
    for (const QString& name : QDir(directory).entryList(QDir::Files)) {
        m_initial[m_nextFile] = readFile(directory + u'/' + name);
        m_initialNames[name.toStdString()] = m_nextFile++;
    }
    m_names = m_initialNames;
    active = this;
    systemCalls.open = openStandIn;
    systemCalls.duplicateAbove = duplicateStandIn;
    systemCalls.write = refusedWrite;
    systemCalls.pwritev = writeStandIn;
    systemCalls.ftruncate = truncateStandIn;
    systemCalls.fdatasync = syncStandIn;
    systemCalls.link = linkStandIn;
    systemCalls.unlink = unlinkStandIn;
    systemCalls.rename = refusedRename;
    systemCalls.close = closeStandIn;
}

void PowerLoss::stop()
{
    if (active == this)
        systemCalls = m_system;
    active = nullptr;
}

std::vector<std::size_t> PowerLoss::unsettled(std::size_t count) const
{
    std::vector<std::size_t> changes;
    for (std::size_t i = 0; i < std::min(count, m_changes.size()); ++i) {
        if (m_changes[i].settledAfter >= count)
            changes.push_back(i);
    }
    return changes;
}

std::vector<std::vector<std::size_t>> PowerLoss::losses(std::size_t count) const
{
    std::vector<std::vector<std::size_t>> all{{}, unsettled(count)};
    for (const std::size_t change : unsettled(count))
        all.push_back({change});
    return all;
}

std::map<std::string, std::string> PowerLoss::disk(std::size_t count, const std::vector<std::size_t>& lost) const
{
    std::map<int, std::string> files = m_initial;
    std::map<std::string, int> names = m_initialNames;
    for (std::size_t i = 0; i < std::min(count, m_changes.size()); ++i) {
        const Change& change = m_changes[i];
        if (std::find(lost.begin(), lost.end(), i) != lost.end())
            continue;
        std::string& content = files[change.file];
        if (change.kind == Kind::Create)
            names[change.name] = change.file;
        else if (change.kind == Kind::Unlink)
            names.erase(change.name);
        else if (change.kind == Kind::Truncate)
            content.resize(change.place);
        else {
            content.resize(std::max(content.size(), change.place + change.bytes.size()));
            content.replace(change.place, change.bytes.size(), change.bytes);
        }
    }
    std::map<std::string, std::string> disk;
    for (const auto& [name, file] : names)
        disk[name] = files[file];
    return disk;
}

void PowerLoss::opened(const char* path, int flags, int fd)
{
    const std::string name = _nameOf(path);
    if ((flags & O_DIRECTORY) != 0 && std::string(path) == m_directory) {
        const bool unnamed = (flags & O_TMPFILE) == O_TMPFILE;
        m_descriptors[fd] = unnamed ? m_nextFile++ : directoryFile;
        return;
    }
    if (name.empty())
        return;
    if (!m_names.contains(name)) {
        m_names[name] = m_nextFile;
        m_changes.push_back({.kind = Kind::Create, .file = m_nextFile++, .name = name, .place = 0, .bytes = {}});
    } else if ((flags & O_TRUNC) != 0) {
        m_changes.push_back({.kind = Kind::Truncate, .file = m_names[name], .name = name, .place = 0, .bytes = {}});
    }
    m_descriptors[fd] = m_names[name];
}

void PowerLoss::duplicated(int fd, int copy)
{
    if (m_descriptors.contains(fd))
        m_descriptors[copy] = m_descriptors[fd];
}

void PowerLoss::written(int fd, std::size_t offset, const std::string& bytes)
{
    // A long write may arrive in part: its ends without its middle, for example.
    constexpr std::size_t endBytes = 16;
    const std::size_t cuts[] = {0, std::min(endBytes, bytes.size()), std::max(endBytes, bytes.size()) - endBytes,
                                bytes.size()};
    for (int i = 0; i < 3; ++i) {
        if (cuts[i] < cuts[i + 1])
            m_changes.push_back({.kind = Kind::Write,
                                 .file = m_descriptors.at(fd),
                                 .name = {},
                                 .place = offset + cuts[i],
                                 .bytes = bytes.substr(cuts[i], cuts[i + 1] - cuts[i])});
    }
}

void PowerLoss::truncated(int fd, std::size_t length)
{
    m_changes.push_back(
        {.kind = Kind::Truncate, .file = m_descriptors.at(fd), .name = {}, .place = length, .bytes = {}});
}

/// A file without a name gets one, by way of its descriptor.
void PowerLoss::linked(const char* from, const char* to)
{
    const std::string path = from;
    const int file = m_descriptors.at(std::stoi(path.substr(path.rfind('/') + 1)));
    m_names[_nameOf(to)] = file;
    m_changes.push_back({.kind = Kind::Create, .file = file, .name = _nameOf(to), .place = 0, .bytes = {}});
}

void PowerLoss::unlinked(const char* path)
{
    const std::string name = _nameOf(path);
    m_changes.push_back({.kind = Kind::Unlink, .file = m_names.at(name), .name = name, .place = 0, .bytes = {}});
    m_names.erase(name);
}

void PowerLoss::synchronised(int fd)
{
    const int file = m_descriptors.at(fd);
    for (Change& change : m_changes) {
        const bool inDirectory = change.kind == Kind::Create || change.kind == Kind::Unlink;
        if (change.settledAfter == never && (file == directoryFile ? inDirectory : !inDirectory && change.file == file))
            change.settledAfter = m_changes.size();
    }
}

/// The name of a file of the watched directory; empty for others.
std::string PowerLoss::_nameOf(const char* path) const
{
    const std::string whole = path;
    return whole.starts_with(m_directory) ? whole.substr(m_directory.size()) : std::string();
}

} // namespace zd::test
