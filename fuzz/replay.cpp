#include <fuzz/targets.h>

#include <log/logger.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::vector<std::uint8_t> contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace

/// Runs one target over every file of a folder: replay TARGET FOLDER. Fails when there is none.
int main(int argc, char** argv)
{
    const std::string name = argc == 3 ? argv[1] : "";
    const auto target = std::find_if(std::begin(zd::fuzz::targets), std::end(zd::fuzz::targets),
                                     [&](const auto& candidate) { return name == candidate.name; });
    if (target == std::end(zd::fuzz::targets)) {
        std::fprintf(stderr, "usage: replay TARGET FOLDER\n");
        return 2;
    }
    zd::Logger::setLevel(QStringLiteral("*"), 0);
    int inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[2])) {
        std::fprintf(stderr, "%s\n", entry.path().c_str()); // the last one named is the one that fails
        target->run(contentOf(entry.path()));
        ++inputs;
    }
    std::printf("%s: %d inputs\n", target->name, inputs);
    return inputs > 0 ? 0 : 1;
}
