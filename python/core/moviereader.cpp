#include <python/core/moviereader.h>

#include <common/zdpalette.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/movieindex.h>
#include <python/core/arrays.h>
#include <python/core/headervalues.h>
#include <python/core/textcaster.h>

#include <QImage>

#include <pybind11/stl.h>

#include <algorithm>

namespace zd::python {

namespace py = pybind11;
using movietools::JobError;

/// Frames above this many bytes are looked at before they are read.
static constexpr std::int64_t largestUnseenFrame = 1 << 20;

MovieReader::MovieReader(const QString& path) : m_path(path)
{
    exclusively([&](ImageReader& movie) { movie.open(m_path); });
}

void MovieReader::close()
{
    exclusively([](ImageReader& movie) { movie.close(); });
}

int MovieReader::frameCount()
{
    return exclusively([](ImageReader& movie) { return movie.nbFrames(); });
}

FrameFormat MovieReader::format()
{
    return exclusively([this](ImageReader& movie) { return frameFormat(movie, m_path); });
}

void MovieReader::readFrames(std::int64_t first, std::int64_t step, std::int64_t count, py::array out)
{
    if ((out.flags() & py::array::c_style) == 0 || !out.writeable())
        throw py::value_error("frames are read into writable arrays in C order");
    const std::int64_t bytes = count > 0 ? out.nbytes() / count : 0;
    if (count < 0 || bytes * count != out.nbytes())
        throw py::value_error("frames are read into an array of that many");
    auto* target = static_cast<char*>(out.mutable_data());
    exclusively([&](ImageReader&) {
        for (std::int64_t i = 0; i < count; ++i)
            readFrame(first + i * step, target + i * bytes, bytes);
    });
}

void MovieReader::readFrame(std::int64_t index, char* out, std::int64_t bytes)
{
    // Memory that a header claims and the file does not hold is not touched.
    if (bytes > largestUnseenFrame)
        readFrom(index, nullptr, 0, bytes);
    readFrom(index, out, bytes, bytes);
}

/// Reads the first `size` bytes of a frame that must have `bytes` of them.
void MovieReader::readFrom(std::int64_t index, char* out, std::int64_t size, std::int64_t bytes)
{
    if (index < 0 || index >= m_movie.nbFrames() || !m_movie.readFrame(static_cast<unsigned>(index), out, size))
        movietools::refuse(m_path, QStringLiteral("frame %1 cannot be read").arg(index),
                           QStringLiteral("the movie is damaged: try vqf.recover"));
    if (m_movie.frameSize() < bytes)
        movietools::refuse(m_path,
                           QStringLiteral("frame %1 has %2 of %3 bytes").arg(index).arg(m_movie.frameSize()).arg(bytes),
                           QStringLiteral("see vqf.verify"));
}

std::optional<MovieReader::EvenPlaces> MovieReader::evenPlaces(std::int64_t frameBytes)
{
    return exclusively([&](ImageReader& movie) -> std::optional<EvenPlaces> {
        const ChunkInfo info = movietools::readMovieInfo(m_path);
        const std::vector<ChunkRecord>& records = movietools::recordsOf(info, ZD_FRAME_CHUNK);
        if (records.empty() || records.size() != static_cast<std::size_t>(movie.nbFrames()))
            return std::nullopt;
        const std::int64_t first = records.front().offset;
        const std::int64_t distance = records.size() > 1 ? records[1].offset - first : frameBytes;
        std::int64_t expected = first;
        for (unsigned i = 0; i < records.size(); ++i, expected += distance) {
            if (records[i].offset != expected || !movie.readFrame(i, nullptr, 0) || movie.frameSize() != frameBytes)
                return std::nullopt;
        }
        return EvenPlaces(first + layout::headerBytes, distance);
    });
}

py::array MovieReader::times()
{
    return toArray(exclusively(frameTimes));
}

py::array MovieReader::powers()
{
    return toArray(exclusively(laserPowers));
}

py::dict MovieReader::attributes()
{
    return attributesOf(exclusively([](ImageReader& movie) { return movie.attributeChunk(); }));
}

std::optional<py::tuple> MovieReader::palette()
{
    ZdPalette palette;
    const bool known = exclusively([&](ImageReader& movie) { return movie.palette(palette); });
    return known ? std::optional(paletteTuple(palette)) : std::nullopt;
}

std::optional<py::tuple> MovieReader::boundingBox()
{
    std::vector<float> box;
    const bool known = exclusively([&](ImageReader& movie) { return movie.getBundleBoundingBox(box); });
    return known ? std::optional(py::make_tuple(box[0], box[1], box[2], box[3])) : std::nullopt;
}

py::array MovieReader::fibers(int mode, const QString& form)
{
    const auto filter = static_cast<ImageReader::FiberFilteringMode>(mode);
    std::vector<float> positions;
    std::vector<unsigned int> numbers;
    if (form == QLatin1StringView("index")) {
        exclusively([&](ImageReader& movie) { movie.getRasterFiberIndexes(numbers, filter); });
        return toArray(numbers, 2);
    }
    if (form == QLatin1StringView("offset")) {
        exclusively([&](ImageReader& movie) { movie.getFiberOffsets(numbers, filter); });
        return toArray(numbers);
    }
    if (form == QLatin1StringView("world"))
        exclusively([&](ImageReader& movie) { movie.getWorldFiberCenters(positions, filter); });
    else
        exclusively([&](ImageReader& movie) { movie.getRasterFiberContinuousIndexes(positions, filter); });
    return toArray(positions, 2);
}

std::optional<py::array> MovieReader::thumbnail(int width, int height, int frame)
{
    const QImage picture = exclusively([&](ImageReader& movie) {
        QImage image;
        return movie.thumbnail(image, width, height, frame) ? image.convertToFormat(QImage::Format_RGB888) : QImage();
    });
    if (picture.isNull())
        return std::nullopt;
    py::array_t<std::uint8_t> pixels({picture.height(), picture.width(), 3});
    for (int row = 0; row < picture.height(); ++row)
        std::copy_n(picture.constScanLine(row), 3 * picture.width(), pixels.mutable_data(row, 0, 0));
    return pixels;
}

void MovieReader::define(py::module_& module)
{
    py::class_<MovieReader>(module, "Reader")
        .def(py::init<const QString&>(), py::arg("path"))
        .def("close", &MovieReader::close)
        .def("frame_count", &MovieReader::frameCount)
        .def("format",
             [](MovieReader& self) {
                 const FrameFormat format = self.format();
                 return py::make_tuple(format.width, format.height, static_cast<int>(format.type), format.swapped);
             })
        .def("read", &MovieReader::readFrames, py::arg("first"), py::arg("step"), py::arg("count"),
             py::arg("out").noconvert())
        .def("even_places", &MovieReader::evenPlaces, py::arg("frame_bytes"))
        .def("times", &MovieReader::times)
        .def("laser_powers", &MovieReader::powers)
        .def("attributes", &MovieReader::attributes)
        .def("comment",
             [](MovieReader& self) { return self.exclusively([](ImageReader& movie) { return movie.getComment(); }); })
        .def("palette", &MovieReader::palette)
        .def("bounding_box", &MovieReader::boundingBox)
        .def("fibers", &MovieReader::fibers, py::arg("mode"), py::arg("form"))
        .def("thumbnail", &MovieReader::thumbnail, py::arg("width"), py::arg("height"), py::arg("frame"));
}

} // namespace zd::python
