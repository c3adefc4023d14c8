#include <recording/growingpart_p.h>

#include <common/iofileexception.h>
#include <libdataio/imagefilelayout.h>
#include <libdataio/recordingremains.h>

#include <QFileInfo>

#include <limits>

namespace zd {

GrowingPart::GrowingPart(const QString& path) : m_path(path)
{
    refresh();
}

std::int64_t GrowingPart::refresh()
{
    m_file.openFile(m_path);
    const std::int64_t length = QFileInfo(m_path).size();
    try {
        // A chunk that is being written is not there yet.
        while (m_end + layout::framingBytes <= length && m_end <= std::numeric_limits<int>::max() &&
               m_file.seek(static_cast<int>(m_end)) && m_file.nextChunk(ZD_FRAME_CHUNK, nullptr, 0)) {
            const std::int64_t end = m_end + layout::framingBytes + m_file.chunkSize();
            if (end > length)
                break;
            m_offsets.push_back(static_cast<int>(m_end));
            m_end = end;
        }
    } catch (const IOFileException&) {
        // Half a header, or what comes behind the frames.
    }
    if (m_header.attributes().empty())
        _loadHeader();
    return frames();
}

void GrowingPart::_loadHeader()
{
    const RecordingRemains remains = RecordingRemains::of(m_path);
    if (!remains.headerText.isEmpty())
        m_header.parse(remains.headerText);
}

const void* GrowingPart::frame(std::int64_t index)
{
    m_frameSize = 0;
    if (index < 0 || index >= frames())
        return nullptr;
    try {
        if (!m_file.seek(m_offsets[static_cast<std::size_t>(index)]) || !m_file.nextChunk(ZD_FRAME_CHUNK))
            return nullptr;
    } catch (const IOFileException&) {
        return nullptr;
    }
    m_frameSize = m_file.chunkSize();
    return m_file.data();
}

} // namespace zd
