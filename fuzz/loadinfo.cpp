#include <fuzz/require.h>
#include <fuzz/targets.h>

#include <libdataio/chunkinfo.h>

#include <memory>
#include <string>

namespace zd::fuzz {

namespace {

std::string saved(ChunkInfo& info)
{
    int size = 0;
    const std::unique_ptr<char[]> payload(static_cast<char*>(info.save(size)));
    return {payload.get(), static_cast<std::size_t>(size)};
}

} // namespace

void loadInfo(Input input)
{
    ChunkInfo info;
    info[2].emplace_back(1, 2);
    info.set(QStringLiteral("name"), QStringLiteral("value"));
    const std::string before = saved(info);
    const auto load = [](ChunkInfo& into, const void* data, std::size_t size) {
        return codeOf({"CI_L_CHUNK"}, [&] { into.load(data, static_cast<unsigned int>(size)); });
    };
    if (!load(info, input.data(), input.size()).empty()) {
        require(saved(info) == before, "a failed load changes nothing");
        return;
    }
    info.clear();
    load(info, input.data(), input.size());
    const std::string first = saved(info);
    require(first.size() <= input.size() + 1, "nothing comes from nowhere"); // a last line may gain its end
    ChunkInfo again;
    require(load(again, first.data(), first.size()).empty(), "what was saved can be loaded");
    require(saved(again) == first, "what was saved is loaded as it was");
}

} // namespace zd::fuzz
