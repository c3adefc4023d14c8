// Writes or reads the small frames of a movie, and nothing else: for a count of instructions a frame.

#include <bench/peers/peer.h>
#include <bench/support/pictures.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

int main(int argc, char** argv)
{
    using namespace zd::bench;
    const std::string_view job = argc == 4 ? argv[1] : "";
    if (job != "write" && job != "read") {
        std::fprintf(stderr, "Usage: frame_path write|read FILE FRAMES\n");
        return 2;
    }
    const Shape shape{"64x64x8", 64, 64, 8, std::atoi(argv[3])};
    const Pictures pictures(shape.frameBytes());
    if (job == "write") {
        const auto sink = dataIO.create(argv[2], shape);
        for (int i = 0; i < shape.count; ++i)
            sink->add(pictures.at(i));
        sink->finish();
    } else {
        const auto source = dataIO.open(argv[2], shape);
        for (int i = 0; i < shape.count; ++i)
            source->next();
    }
}
