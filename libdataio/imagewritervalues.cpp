// The header values and the settings of `ImageWriter`.

#include <libdataio/imagewriter_p.h>

#include <libdataio/attributepaletteadaptor.h>
#include <libdataio/imagefilelayout.h>

namespace zd {

void ImageWriter::width(int pixels)
{
    m_d->header.set(layout::key::width, pixels);
}

void ImageWriter::height(int rows)
{
    m_d->header.set(layout::key::height, rows);
}

void ImageWriter::frameDelay(int delay)
{
    m_d->header.set(layout::key::frameDelay, delay);
}

void ImageWriter::dimension(int dimension)
{
    m_d->header.set(layout::key::dimension, dimension);
}

int ImageWriter::pixBytes()
{
    int bits = 0;
    return m_d->header.get(layout::key::pixBits, bits) ? layout::bytesForBits(bits) : 0;
}

void ImageWriter::palette(const char* /*data*/, int /*size*/)
{
    m_d->header.set(layout::key::palette, 1);
}

void ImageWriter::setPalette(const ZdPalette& palette)
{
    AttributeChunk keys;
    AttributePaletteAdaptor::paletteToAttributes(palette, keys, QString());
    m_d->header.merge(keys);
}

void ImageWriter::indexed(bool on)
{
    m_d->header.set(layout::key::indexed, on ? 1 : 0);
}

void ImageWriter::setComment(const QString& text)
{
    m_d->header.set(layout::key::comment, AttributeChunk::formatComment(text));
}

void ImageWriter::setSpecificComment(const QString& text)
{
    m_d->header.set(layout::key::specificComment, AttributeChunk::formatComment(text));
}

const QString ImageWriter::getComment()
{
    return m_d->header.comment(layout::key::comment);
}

void ImageWriter::attribute(const QString& name, int value)
{
    m_d->header.set(name, value);
}

void ImageWriter::attribute(const QString& name, float value)
{
    m_d->header.set(name, value);
}

void ImageWriter::attribute(const QString& name, const QString& value)
{
    m_d->header.set(name, value);
}

void ImageWriter::setPlugAttribute(const QString& name, int value)
{
    m_d->header.set(layout::key::plugPrefix + name, value);
}

void ImageWriter::setPlugAttribute(const QString& name, float value)
{
    m_d->header.set(layout::key::plugPrefix + name, value);
}

void ImageWriter::setPlugAttribute(const QString& name, const QString& value)
{
    m_d->header.set(layout::key::plugPrefix + name, value);
}

void ImageWriter::removeAttribute(const QString& name)
{
    m_d->header.erase(name);
}

AttributeChunk& ImageWriter::attributeChunk()
{
    return m_d->header;
}

void ImageWriter::addBundleBoundingBoxCoords(float minX, float minY, float maxX, float maxY)
{
    m_d->header.set(layout::key::boxMinX, minX);
    m_d->header.set(layout::key::boxMinY, minY);
    m_d->header.set(layout::key::boxMaxX, maxX);
    m_d->header.set(layout::key::boxMaxY, maxY);
}

void ImageWriter::setLocking(bool on)
{
    m_d->locking = on;
}

bool ImageWriter::locking() const
{
    return m_d->locking;
}

void ImageWriter::useLock(const MovieLock& held)
{
    m_d->heldLock.borrow(held);
}

void ImageWriter::setJournaled(bool on)
{
    m_d->edit.setJournaled(on);
}

bool ImageWriter::journaled() const
{
    return m_d->edit.journaled();
}

EditProtection ImageWriter::editProtection() const
{
    return m_d->protection;
}

void ImageWriter::setRecordingLog(bool on)
{
    m_d->aids.setLogged(on);
}

bool ImageWriter::recordingLog() const
{
    return m_d->aids.logged();
}

void ImageWriter::setSizeLimit(std::uint64_t bytes)
{
    m_d->room.setLimit(bytes);
}

std::uint64_t ImageWriter::sizeLimit() const
{
    return m_d->room.limit();
}

} // namespace zd
