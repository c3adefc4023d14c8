#include <fuzz/moviefile.h>

#include <fuzz/require.h>
#include <libdataio/systemcalls_p.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include <stdlib.h>

namespace zd::fuzz {

MovieFile& MovieFile::instance()
{
    static MovieFile file;
    return file;
}

MovieFile::MovieFile()
{
    systemCalls.fdatasync = [](int) { return 0; };
    m_directory = std::filesystem::temp_directory_path() / "dataio-fuzz-XXXXXX";
    require(::mkdtemp(m_directory.data()) != nullptr, "a directory for the movie");
    m_path = QString::fromStdString(m_directory + "/movie.vqf");
}

MovieFile::~MovieFile()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

void MovieFile::write(Input content)
{
    remove();
    writeBeside("", content);
}

void MovieFile::writeBeside(const char* suffix, Input content)
{
    std::ofstream file(m_path.toStdString() + suffix, std::ios::binary);
    file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    require(file.flush().good(), "room for the movie");
}

void MovieFile::remove()
{
    for (const auto& entry : std::filesystem::directory_iterator(m_directory))
        std::filesystem::remove(entry.path());
}

std::string MovieFile::read(const char* suffix) const
{
    std::ifstream file(m_path.toStdString() + suffix, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace zd::fuzz
