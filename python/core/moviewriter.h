#pragma once

#include <libdataio/imagewriter.h>
#include <movietools/movie/movieedit.h>
#include <python/core/framedescription.h>

#include <QString>

#include <pybind11/numpy.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace zd::python {

/// A movie that is recorded or changed, for Python's threads: each operation lets other threads run and waits for its
/// turn at this movie. A recording that is dropped is closed, an edit that is dropped is undone.
class MovieWriter {
public:
    static void define(pybind11::module_& module);

private:
    explicit MovieWriter(const QString& path) : m_path(path) {}

    static std::unique_ptr<MovieWriter> create(const QString& path, const FrameFormat& format, bool autotime,
                                               bool keepLog);
    static std::unique_ptr<MovieWriter> modify(const QString& path, bool unprotected);

    template <typename Operation>
    auto exclusively(Operation operation)
    {
        const pybind11::gil_scoped_release othersRun;
        const std::lock_guard turn(m_mutex);
        return operation(writer());
    }
    template <typename Result, typename... Arguments>
    static auto inTurn(Result (ImageWriter::*operation)(Arguments...));
    template <typename Result>
    static auto inTurn(Result (ImageWriter::*query)() const);
    ImageWriter& writer() { return m_edit ? m_edit->writer() : m_recording; }

    const void* samplesOf(const pybind11::array& frame) const;
    void append(const pybind11::array& frame, const std::optional<std::int64_t>& time, float laserPower);
    void replace(unsigned int index, const pybind11::array& frame, const std::optional<std::int64_t>& time,
                 float laserPower);
    void close();
    static void defineHeader(pybind11::class_<MovieWriter>& writer);
    pybind11::array fibers();
    void setFibers(const pybind11::array_t<float, pybind11::array::c_style>& centers);
    void setPalette(const pybind11::tuple& values);
    std::optional<pybind11::tuple> palette();
    std::optional<pybind11::tuple> boundingBox();

    const QString m_path;
    ImageWriter m_recording;
    std::unique_ptr<movietools::MovieEdit> m_edit; // instead, when a closed movie is changed
    std::mutex m_mutex;
    std::optional<FrameFormat> m_format;
    std::vector<std::uint32_t> m_frameBytes; // of each frame's chunk
    std::vector<std::int64_t> m_timesBefore; // that the movie held already
    std::vector<float> m_powersBefore;       // of the frames that it had
};

} // namespace zd::python
