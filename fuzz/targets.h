#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// What the fuzzer feeds. Each target checks its invariants with `require` and otherwise only needs to come to an end.
namespace zd::fuzz {

using Input = std::span<const std::uint8_t>;

void openMovie(Input input);       ///< a file: everything that a reader can be asked
void walkContainer(Input input);   ///< steps, then a file: chunk reader and chunk writer against a model
void loadInfo(Input input);        ///< an info payload
void parseAttributes(Input input); ///< the text of a header
void modifyMovie(Input input);     ///< edits, then a file
void useWriter(Input input);       ///< operations on one movie, with faults, against a model
void recoverFile(Input input);     ///< what lies beside a file, then the file

struct Target {
    const char* name;
    void (*run)(Input input);
};

inline constexpr Target targets[] = {
    {"fz_open", openMovie},       {"fz_container", walkContainer}, {"fz_info", loadInfo},
    {"fz_attr", parseAttributes}, {"fz_modify", modifyMovie},      {"fz_api", useWriter},
    {"fz_recover", recoverFile},
};

} // namespace zd::fuzz
