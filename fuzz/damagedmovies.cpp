#include <fuzz/require.h>
#include <fuzz/targets.h>
#include <log/logger.h>
#include <tests/support/measures.h>
#include <tests/support/moviebytes.h>

#include <csignal>
#include <cstdio>
#include <cstring>

namespace zd::fuzz {

namespace {

int movies = 0;
test::LongestCall longest;

Input inputOf(const std::string& bytes)
{
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

/// With a comment, a frame of four bytes, a replaced frame and a bounding box; with a journal or without.
std::string editOf(const std::string& movie, bool journaled)
{
    std::string script{static_cast<char>(journaled ? 0 : 1), 0, 3, 1, 4, 'a', 'b', 'c', 'd', 9, 2, 0, 7, 3};
    script.resize(32, '\3');
    return script + movie;
}

/// Reads and edits a movie.
void examine(const std::string& movie)
{
    longest.timed([&] { openMovie(inputOf(movie)); });
    const std::string edit = editOf(movie, ++movies % 16 == 0);
    longest.timed([&] { modifyMovie(inputOf(edit)); });
}

void examinePrefixes()
{
    for (const std::string& movie : {test::smallMovie(), test::richMovie()}) {
        for (std::size_t length = 0; length <= movie.size(); ++length)
            examine(movie.substr(0, length));
    }
}

void examineNumbers()
{
    const std::string movie = test::smallMovie();
    for (const test::Field& field : test::fieldsOfSmallMovie()) {
        for (const std::uint32_t value : test::hostileValues) {
            const std::string mutant = test::withField(movie, field, value);
            if (mutant != movie)
                examine(mutant);
        }
    }
}

/// All changes of one byte in the long form, every 37th in the short one.
void examineBytes()
{
    const std::string movie = test::smallMovie();
    const std::size_t step = test::isLongRun() ? 1 : 37;
    for (std::size_t n = 0; n < movie.size() * 255; n += step) {
        std::string mutant = movie;
        mutant[n / 255] = static_cast<char>(mutant[n / 255] ^ static_cast<char>(n % 255 + 1));
        examine(mutant);
    }
}

constexpr struct {
    const char* name;
    void (*examine)();
} damages[] = {{"prefixes", examinePrefixes}, {"numbers", examineNumbers}, {"bytes", examineBytes}};

int report()
{
    const std::int64_t memory = test::residentMemory("VmHWM");
    std::printf("%d movies; longest review or edit %lld ms of the processor; most memory of the process %lld KiB\n",
                movies, static_cast<long long>(longest.processor() / 1000), static_cast<long long>(memory / 1024));
    require(movies > 0 && longest.processor() < 1'000'000, "no review and no edit takes a second");
    require(DATAIO_SANITIZED || memory < 64 << 20, "memory follows the file");
    return 0;
}

} // namespace

} // namespace zd::fuzz

/// Damages a small movie in every way of a kind and asks everything of what is left, with the invariants of the fuzz
/// targets: damaged_movies prefixes|numbers|bytes.
int main(int argc, char** argv)
{
    using namespace zd::fuzz;
    zd::Logger::setLevel(QStringLiteral("*"), 0);
    std::signal(SIGABRT, [](int) { std::fprintf(stderr, "in movie %d\n", movies); });
    for (const auto& damage : damages) {
        if (argc == 2 && std::strcmp(argv[1], damage.name) == 0) {
            damage.examine();
            return report();
        }
    }
    std::fprintf(stderr, "usage: damaged_movies prefixes|numbers|bytes\n");
    return 2;
}
