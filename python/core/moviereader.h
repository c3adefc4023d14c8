#pragma once

#include <libdataio/imagereader.h>
#include <python/core/framedescription.h>

#include <QString>

#include <pybind11/numpy.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>

namespace zd::python {

/// An open movie for Python's threads: each operation lets other threads run and waits for its turn at this movie.
class MovieReader {
public:
    /// Throws IOFileException.
    explicit MovieReader(const QString& path);

    static void define(pybind11::module_& module);

private:
    /// Where the frames lie when their distance is always the same: offset of the first one's pixels, distance.
    using EvenPlaces = std::pair<std::int64_t, std::int64_t>;

    template <typename Operation>
    auto exclusively(Operation operation)
    {
        const pybind11::gil_scoped_release othersRun;
        const std::lock_guard turn(m_mutex);
        return operation(m_movie);
    }

    void close();
    int frameCount();
    FrameFormat format();
    void readFrames(std::int64_t first, std::int64_t step, std::int64_t count, pybind11::array out);
    void readFrame(std::int64_t index, char* out, std::int64_t bytes);
    void readFrom(std::int64_t index, char* out, std::int64_t size, std::int64_t bytes);
    std::optional<EvenPlaces> evenPlaces(std::int64_t frameBytes);
    pybind11::array times();
    pybind11::array powers();
    pybind11::dict attributes();
    std::optional<pybind11::tuple> palette();
    std::optional<pybind11::tuple> boundingBox();
    pybind11::array fibers(int mode, const QString& form);
    std::optional<pybind11::array> thumbnail(int width, int height, int frame);

    const QString m_path;
    ImageReader m_movie;
    std::mutex m_mutex;
};

} // namespace zd::python
