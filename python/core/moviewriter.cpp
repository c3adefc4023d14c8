#include <python/core/moviewriter.h>

#include <common/zdpalette.h>
#include <libdataio/attributepaletteadaptor.h>
#include <libdataio/imagereader.h>
#include <movietools/job/joberror.h>
#include <movietools/movie/attributerules.h>
#include <movietools/movie/movieindex.h>
#include <python/core/arrays.h>
#include <python/core/headervalues.h>
#include <python/core/textcaster.h>

#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <limits>

namespace zd::python {

namespace py = pybind11;

namespace {

/// Seconds and microseconds of a time that the caller has checked.
timeval timeOf(std::int64_t microseconds)
{
    constexpr std::int64_t second = 1'000'000;
    const std::int64_t rest = (microseconds % second + second) % second;
    return {static_cast<std::int32_t>((microseconds - rest) / second), static_cast<std::int32_t>(rest)};
}

/// Why the attribute cannot be set by hand; empty when it can.
QString storageProblem(const QString& name, const QString& value)
{
    if (movietools::describesFrames(name))
        return QStringLiteral("follows from the frames");
    return movietools::whyNotStorable(name, value);
}

} // namespace

/// An operation of the writer as a function for Python, done when it is its turn.
template <typename Result, typename... Arguments>
auto MovieWriter::inTurn(Result (ImageWriter::*operation)(Arguments...))
{
    return [operation](MovieWriter& self, Arguments... arguments) {
        return self.exclusively([&](ImageWriter& writer) { return (writer.*operation)(arguments...); });
    };
}

template <typename Result>
auto MovieWriter::inTurn(Result (ImageWriter::*query)() const)
{
    return [query](MovieWriter& self) {
        return self.exclusively([query](ImageWriter& writer) { return (writer.*query)(); });
    };
}

std::unique_ptr<MovieWriter> MovieWriter::create(const QString& path, const FrameFormat& format, bool autotime,
                                                 bool keepLog)
{
    std::unique_ptr<MovieWriter> movie(new MovieWriter(path));
    movie->m_format = format;
    movie->exclusively([&](ImageWriter& writer) {
        writer.create(path, autotime);
        writer.width(format.width);
        writer.height(format.height);
        writer.pixType(format.type);
        writer.setRecordingLog(keepLog);
    });
    return movie;
}

std::unique_ptr<MovieWriter> MovieWriter::modify(const QString& path, bool unprotected)
{
    std::unique_ptr<MovieWriter> movie(new MovieWriter(path));
    movie->exclusively([&](ImageWriter&) {
        const auto withoutJournal = unprotected ? movietools::WithoutJournal::GoOn : movietools::WithoutJournal::Refuse;
        auto edit = std::make_unique<movietools::MovieEdit>(path, withoutJournal);
        ImageReader before;
        movietools::openMovie(before, path);
        movie->m_timesBefore = heldTimes(before);
        movie->m_powersBefore = laserPowers(before);
        const ChunkInfo info = movietools::readMovieInfo(path);
        for (const ChunkRecord& frame : movietools::recordsOf(info, ZD_FRAME_CHUNK))
            movie->m_frameBytes.push_back(frame.length);
        try {
            movie->m_format = frameFormat(before, path);
        } catch (const movietools::JobError&) {
            // Without a format the header can be changed all the same.
        }
        before.close();
        edit->begin();
        movie->m_edit = std::move(edit);
    });
    return movie;
}

/// The samples of a frame, as many as the movie's format says.
const void* MovieWriter::samplesOf(const py::array& frame) const
{
    const FrameFormat format = m_format.value_or(FrameFormat{});
    const std::int64_t bytes = std::int64_t{format.width} * format.height * (GetPixBits(format.type) / 8);
    if ((frame.flags() & py::array::c_style) == 0 || frame.nbytes() != bytes)
        throw py::value_error("a frame is a whole array in C order");
    if (bytes > std::numeric_limits<int>::max())
        throw py::value_error("a frame takes less than 2**31 bytes");
    return frame.data();
}

void MovieWriter::append(const py::array& frame, const std::optional<std::int64_t>& time, float laserPower)
{
    const void* samples = samplesOf(frame);
    const auto size = static_cast<int>(frame.nbytes());
    exclusively([&](ImageWriter& writer) {
        if (time)
            writer.addFrame(samples, size, timeOf(*time), laserPower);
        else
            writer.addFrame(samples, size, laserPower);
        m_frameBytes.push_back(static_cast<std::uint32_t>(size));
    });
}

void MovieWriter::replace(unsigned int index, const py::array& frame, const std::optional<std::int64_t>& time,
                          float laserPower)
{
    const void* samples = samplesOf(frame);
    const std::int64_t size = frame.nbytes();
    exclusively([&](ImageWriter& writer) {
        // The writer takes as many bytes as the frame in the file has, which need not be what the header says.
        if (index < m_frameBytes.size() && m_frameBytes[index] != size)
            movietools::refuse(
                m_path, QStringLiteral("frame %1 has %2 of %3 bytes").arg(index).arg(m_frameBytes[index]).arg(size),
                {});
        if (time)
            writer.replaceFrame(samples, index, timeOf(*time), laserPower);
        else
            writer.replaceFrame(samples, index, laserPower);
    });
}

void MovieWriter::close()
{
    exclusively([this](ImageWriter& writer) {
        if (m_edit)
            m_edit->commit();
        else
            writer.close();
    });
}

py::array MovieWriter::fibers()
{
    return toArray(exclusively([](ImageWriter& writer) { return writer.getRasterFiberContinuousIndexes(); }), 2);
}

void MovieWriter::setFibers(const py::array_t<float, py::array::c_style>& centers)
{
    const std::vector<float> list(centers.data(), centers.data() + centers.size());
    exclusively([&](ImageWriter& writer) { writer.addRasterFiberContinuousIndexes(list); });
}

void MovieWriter::setPalette(const py::tuple& values)
{
    const ZdPalette palette = paletteFrom(values);
    exclusively([&](ImageWriter& writer) { writer.setPalette(palette); });
}

std::optional<py::tuple> MovieWriter::palette()
{
    ZdPalette palette;
    const bool known = exclusively([&](ImageWriter& writer) {
        return AttributePaletteAdaptor::attributesToPalette(writer.attributeChunk(), palette, QString());
    });
    return known ? std::optional(paletteTuple(palette)) : std::nullopt;
}

std::optional<py::tuple> MovieWriter::boundingBox()
{
    namespace key = layout::key;
    constexpr std::array names{key::boxMinX, key::boxMinY, key::boxMaxX, key::boxMaxY};
    std::array<float, 4> box{};
    const bool known = exclusively([&](ImageWriter& writer) {
        const AttributeChunk& header = writer.attributeChunk();
        return std::equal(names.begin(), names.end(), box.begin(),
                          [&](QLatin1StringView name, float& side) { return header.get(name, side); });
    });
    return known ? std::optional(py::make_tuple(box[0], box[1], box[2], box[3])) : std::nullopt;
}

void MovieWriter::define(py::module_& module)
{
    py::class_<MovieWriter> writer(module, "Writer");
    writer
        .def_static(
            "create",
            [](const QString& path, int width, int height, int type, bool autotime, bool keepLog) {
                return create(path, {width, height, static_cast<ZDImagePixelType>(type), false}, autotime, keepLog);
            },
            py::arg("path"), py::arg("width"), py::arg("height"), py::arg("type"), py::arg("autotime"),
            py::arg("recording_log"))
        .def_static("modify", &MovieWriter::modify, py::arg("path"), py::arg("unprotected"))
        .def("format",
             [](const MovieWriter& self) -> py::object {
                 if (!self.m_format)
                     return py::none();
                 return py::make_tuple(self.m_format->width, self.m_format->height,
                                       static_cast<int>(self.m_format->type), self.m_format->swapped);
             })
        .def("times_before", [](const MovieWriter& self) { return toArray(self.m_timesBefore); })
        .def("laser_powers_before", [](const MovieWriter& self) { return toArray(self.m_powersBefore); })
        .def("append", &MovieWriter::append, py::arg("frame").noconvert(), py::arg("time"), py::arg("laser_power"))
        .def("replace", &MovieWriter::replace, py::arg("index"), py::arg("frame").noconvert(), py::arg("time"),
             py::arg("laser_power"))
        .def("sync", inTurn(&ImageWriter::sync))
        .def("close", &MovieWriter::close)
        .def("roll_back", inTurn(&ImageWriter::rollBack))
        .def("is_open", inTurn(&ImageWriter::isOpen))
        .def("room_left", inTurn(&ImageWriter::roomLeft));
    defineHeader(writer);
}

void MovieWriter::defineHeader(py::class_<MovieWriter>& writer)
{
    writer
        .def("attributes",
             [](MovieWriter& self) {
                 return attributesOf(self.exclusively([](ImageWriter& movie) { return movie.attributeChunk(); }));
             })
        .def_static("storage_problem", &storageProblem, py::arg("name"), py::arg("value"))
        .def("set_integer", inTurn<void, const QString&, int>(&ImageWriter::attribute), py::arg("name"),
             py::arg("value"))
        .def("set_float", inTurn<void, const QString&, float>(&ImageWriter::attribute), py::arg("name"),
             py::arg("value"))
        .def("set_text", inTurn<void, const QString&, const QString&>(&ImageWriter::attribute), py::arg("name"),
             py::arg("value"))
        .def("remove", inTurn(&ImageWriter::removeAttribute), py::arg("name"))
        .def("comment", inTurn(&ImageWriter::getComment))
        .def("set_comment", inTurn(&ImageWriter::setComment), py::arg("text"))
        .def_static("stored_comment", &AttributeChunk::formatComment, py::arg("text"))
        .def("palette", &MovieWriter::palette)
        .def("set_palette", &MovieWriter::setPalette, py::arg("values"))
        .def("fibers", &MovieWriter::fibers)
        .def("set_fibers", &MovieWriter::setFibers, py::arg("centers"))
        .def("bounding_box", &MovieWriter::boundingBox)
        .def("set_bounding_box", inTurn(&ImageWriter::addBundleBoundingBoxCoords), py::arg("min_x"), py::arg("min_y"),
             py::arg("max_x"), py::arg("max_y"));
}

} // namespace zd::python
