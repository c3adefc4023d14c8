#include <bench/peers/peer.h>

#include <stdexcept>

#include <hdf5.h>

namespace zd::bench {

namespace {

constexpr const char* datasetName = "frames";
constexpr const char* timesName = "times";   // seconds and microseconds of each frame
constexpr const char* powersName = "powers"; // laser power of each frame

/// An HDF5 object, closed at the end of its life.
class Handle {
public:
    using Close = herr_t (*)(hid_t);

    Handle(hid_t id, Close closeObject) : m_id(id), m_close(closeObject)
    {
        if (id < 0)
            throw std::runtime_error("HDF5 failed");
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { close(); }

    hid_t get() const { return m_id; }
    void close()
    {
        if (m_id >= 0)
            m_close(m_id);
        m_id = -1;
    }

private:
    hid_t m_id;
    const Close m_close;
};

void require(herr_t result)
{
    if (result < 0)
        throw std::runtime_error("HDF5 failed");
}

struct Extents {
    Extents(const Shape& shape, hsize_t frames)
        : frame{1, static_cast<hsize_t>(shape.height), static_cast<hsize_t>(shape.width)},
          all{frames, frame[1], frame[2]}
    {
    }
    const hsize_t frame[3];
    const hsize_t all[3];
};

hid_t sampleType(const Shape& shape)
{
    return shape.bits == 8 ? H5T_NATIVE_UINT8 : H5T_NATIVE_UINT16;
}

hid_t latestFormat()
{
    const hid_t access = H5Pcreate(H5P_FILE_ACCESS);
    require(H5Pset_libver_bounds(access, H5F_LIBVER_LATEST, H5F_LIBVER_LATEST));
    return access;
}

/// Frames are as large as chunks, so that a cache of chunks would only copy them.
hid_t withoutCache()
{
    const hid_t access = H5Pcreate(H5P_DATASET_ACCESS);
    require(H5Pset_chunk_cache(access, 0, 0, H5D_CHUNK_CACHE_W0_DEFAULT));
    return access;
}

/// Moves whole frames between memory and the dataset.
class Frames {
public:
    Frames(const Shape& shape, hid_t dataset)
        : m_type(sampleType(shape)),
          m_extents(shape, 1),
          m_dataset(dataset, H5Dclose),
          m_memory(H5Screate_simple(3, m_extents.frame, nullptr), H5Sclose),
          m_space(H5Dget_space(dataset), H5Sclose)
    {
    }

    hid_t dataset() const { return m_dataset.get(); }

    void extendTo(hsize_t frames)
    {
        const hsize_t all[] = {frames, m_extents.frame[1], m_extents.frame[2]};
        require(H5Dset_extent(m_dataset.get(), all));
        require(H5Sset_extent_simple(m_space.get(), 3, all, nullptr));
    }

    void write(hsize_t index, const void* frame)
    {
        _select(index);
        require(H5Dwrite(m_dataset.get(), m_type, m_memory.get(), m_space.get(), H5P_DEFAULT, frame));
    }

    void read(hsize_t index, void* frame)
    {
        _select(index);
        require(H5Dread(m_dataset.get(), m_type, m_memory.get(), m_space.get(), H5P_DEFAULT, frame));
    }

    void close() { m_dataset.close(); }

private:
    void _select(hsize_t index)
    {
        const hsize_t start[] = {index, 0, 0};
        require(H5Sselect_hyperslab(m_space.get(), H5S_SELECT_SET, start, nullptr, m_extents.frame, nullptr));
    }

    const hid_t m_type;
    const Extents m_extents;
    Handle m_dataset;
    Handle m_memory;
    Handle m_space;
};

hid_t createDataset(hid_t file, const Shape& shape, bool chunked)
{
    const Extents extents(shape, chunked ? 0 : static_cast<hsize_t>(shape.count));
    const hsize_t unlimited[] = {H5S_UNLIMITED, extents.frame[1], extents.frame[2]};
    const Handle space(H5Screate_simple(3, extents.all, chunked ? unlimited : nullptr), H5Sclose);
    const Handle creation(H5Pcreate(H5P_DATASET_CREATE), H5Pclose);
    if (chunked)
        require(H5Pset_chunk(creation.get(), 3, extents.frame));
    require(H5Pset_fill_time(creation.get(), H5D_FILL_TIME_NEVER));
    const Handle access(withoutCache(), H5Pclose);
    return H5Dcreate2(file, datasetName, sampleType(shape), space.get(), H5P_DEFAULT, creation.get(), access.get());
}

/// A dataset of one value, or a few, for each frame.
void writeList(hid_t file, const char* name, hid_t type, hsize_t frames, hsize_t values, const void* list)
{
    const hsize_t extents[] = {frames, values};
    const Handle space(H5Screate_simple(2, extents, nullptr), H5Sclose);
    const Handle dataset(H5Dcreate2(file, name, type, space.get(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), H5Dclose);
    require(H5Dwrite(dataset.get(), type, H5S_ALL, H5S_ALL, H5P_DEFAULT, list));
}

void readList(hid_t file, const char* name, hid_t type, void* list)
{
    const Handle dataset(H5Dopen2(file, name, H5P_DEFAULT), H5Dclose);
    require(H5Dread(dataset.get(), type, H5S_ALL, H5S_ALL, H5P_DEFAULT, list));
}

enum class Content {
    Frames,
    FramesAndLists, ///< with a time and a laser power for each frame
};

class HdfSink : public FrameSink {
public:
    HdfSink(const std::string& path, const Shape& shape, bool chunked, Content content = Content::Frames)
        : m_chunked(chunked),
          m_content(content),
          m_access(latestFormat(), H5Pclose),
          m_file(H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, m_access.get()), H5Fclose),
          m_frames(shape, createDataset(m_file.get(), shape, chunked))
    {
    }

    void add(const void* frame) override
    {
        if (m_chunked)
            m_frames.extendTo(m_count + 1);
        m_frames.write(m_count++, frame);
    }

    void finish() override
    {
        m_frames.close();
        if (m_content == Content::FramesAndLists) {
            const std::vector<std::int32_t> times(2 * m_count, 1'700'000'000);
            const std::vector<std::uint8_t> powers(m_count, 127);
            writeList(m_file.get(), timesName, H5T_NATIVE_INT32, m_count, 2, times.data());
            writeList(m_file.get(), powersName, H5T_NATIVE_UINT8, m_count, 1, powers.data());
        }
        m_file.close();
    }

private:
    const bool m_chunked;
    const Content m_content;
    Handle m_access;
    Handle m_file;
    Frames m_frames;
    hsize_t m_count = 0;
};

class HdfSource : public FrameSource {
public:
    HdfSource(const std::string& path, const Shape& shape, Content content = Content::Frames)
        : m_file(H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT), H5Fclose),
          m_access(withoutCache(), H5Pclose),
          m_frames(shape, H5Dopen2(m_file.get(), datasetName, m_access.get())),
          m_buffer(shape.frameBytes())
    {
        if (content == Content::Frames)
            return;
        m_times.resize(2 * static_cast<std::size_t>(shape.count));
        m_powers.resize(static_cast<std::size_t>(shape.count));
        readList(m_file.get(), timesName, H5T_NATIVE_INT32, m_times.data());
        readList(m_file.get(), powersName, H5T_NATIVE_UINT8, m_powers.data());
    }

    const void* next() override { return at(m_next++); }

    const void* at(int index) override
    {
        m_frames.read(static_cast<hsize_t>(index), m_buffer.data());
        return m_buffer.data();
    }

private:
    Handle m_file;
    Handle m_access;
    Frames m_frames;
    std::vector<char> m_buffer;
    std::vector<std::int32_t> m_times;
    std::vector<std::uint8_t> m_powers;
    int m_next = 0;
};

std::unique_ptr<FrameSource> openHdf(const std::string& path, const Shape& shape)
{
    return std::make_unique<HdfSource>(path, shape);
}

} // namespace

const Peer hdf5Chunked{"HDF5 chunked",
                       [](const std::string& path, const Shape& shape) -> std::unique_ptr<FrameSink> {
                           return std::make_unique<HdfSink>(path, shape, true);
                       },
                       openHdf};

const Peer hdf5Movie{"HDF5 chunked, with times",
                     [](const std::string& path, const Shape& shape) -> std::unique_ptr<FrameSink> {
                         return std::make_unique<HdfSink>(path, shape, true, Content::FramesAndLists);
                     },
                     [](const std::string& path, const Shape& shape) -> std::unique_ptr<FrameSource> {
                         return std::make_unique<HdfSource>(path, shape, Content::FramesAndLists);
                     }};

const Peer hdf5Contiguous{"HDF5 contiguous",
                          [](const std::string& path, const Shape& shape) -> std::unique_ptr<FrameSink> {
                              return std::make_unique<HdfSink>(path, shape, false);
                          },
                          openHdf};

} // namespace zd::bench
