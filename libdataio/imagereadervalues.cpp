// The header values of `ImageReader`, and what it loaded of times and laser powers.

#include <libdataio/imagereader_p.h>

#include <libdataio/attributepaletteadaptor.h>

#include <common/zdpalette.h>

namespace zd {

bool ImageReader::width(int& out)
{
    return m_d->header.get(layout::key::width, out);
}

bool ImageReader::height(int& out)
{
    return m_d->header.get(layout::key::height, out);
}

bool ImageReader::frameDelay(int& out)
{
    return m_d->header.get(layout::key::frameDelay, out);
}

bool ImageReader::dimension(int& out)
{
    return m_d->header.get(layout::key::dimension, out);
}

bool ImageReader::pixBits(int& out)
{
    return m_d->header.pixBits(out);
}

bool ImageReader::pixType(ZDImagePixelType& out)
{
    out = m_d->header.pixType();
    return out != ZD_UNKNOWN;
}

int ImageReader::pixBytes()
{
    return m_d->header.pixBytes();
}

int ImageReader::endian()
{
    return m_d->header.endian();
}

int ImageReader::utcOffsetSeconds(bool& found)
{
    int seconds = 0;
    found = m_d->header.get(layout::key::utcOffsetSeconds, seconds);
    return found ? seconds : 0;
}

QString ImageReader::dataType()
{
    return m_d->header.dataType();
}

int ImageReader::getMaskLevel()
{
    return m_d->header.maskLevel();
}

const QString ImageReader::getComment() const
{
    return _getStringVariable(layout::key::comment);
}

const QString ImageReader::getSpecificComment() const
{
    return _getStringVariable(layout::key::specificComment);
}

const QString ImageReader::_getStringVariable(const QString& key) const
{
    return m_d->header.comment(key);
}

bool ImageReader::palette(ZdPalette& out)
{
    const bool restored = AttributePaletteAdaptor::attributesToPalette(m_d->header, out, QString());
    if (out.size() == 0)
        out.initDefault();
    return restored;
}

int ImageReader::nbFrames()
{
    return m_d->frameCount;
}

int ImageReader::currFrameIdx()
{
    return m_d->cursor;
}

const FrameTimer& ImageReader::getFrameTimer() const
{
    return m_d->frameTimer;
}

AttributeChunk& ImageReader::attributeChunk()
{
    return m_d->header;
}

const ChunkIndex& ImageReader::index() const
{
    return m_d->header;
}

bool ImageReader::lacksSideData() const
{
    return m_d->lacksSideData;
}

void ImageReader::dumpDebug()
{
    m_d->header.dumpDebug();
}

bool ImageReader::attribute(const QString& name, int& out) const
{
    return m_d->header.get(name, out);
}

bool ImageReader::attribute(const QString& name, float& out) const
{
    return m_d->header.get(name, out);
}

bool ImageReader::attribute(const QString& name, QString& out) const
{
    return m_d->header.get(name, out);
}

void ImageReader::setAttribute(const QString& name, int value)
{
    m_d->header.set(layout::key::plugPrefix + name, value);
}

void ImageReader::setAttribute(const QString& name, float value)
{
    m_d->header.set(layout::key::plugPrefix + name, value);
}

void ImageReader::setAttribute(const QString& name, const QString& value)
{
    m_d->header.set(layout::key::plugPrefix + name, value);
}

void ImageReader::removeAttribute(const QString& name)
{
    m_d->header.erase(name);
}

bool ImageReader::frameTiming(timeval& out)
{
    return getFrameTiming(static_cast<unsigned int>(m_d->cursor), out);
}

bool ImageReader::getFrameTiming(unsigned int index, timeval& out)
{
    if (index >= m_d->frameTimer.size())
        return false;
    out = m_d->frameTimer[index];
    return true;
}

bool ImageReader::frameTiming(::timeval& out)
{
    return getFrameTiming(static_cast<unsigned int>(m_d->cursor), out);
}

bool ImageReader::getFrameTiming(unsigned int index, ::timeval& out)
{
    timeval time;
    if (!getFrameTiming(index, time))
        return false;
    out = toSystemTimeval(time);
    return true;
}

bool ImageReader::laserPower(float& out)
{
    return getLaserPower(static_cast<unsigned int>(m_d->cursor), out);
}

bool ImageReader::getLaserPower(unsigned int index, float& out)
{
    const std::vector<std::uint8_t>& powers = m_d->laserPowers;
    const float power = index < powers.size() ? layout::decodeLaserPower(powers[index]) : -1.0F;
    if (power < 0)
        return false;
    out = power;
    return true;
}

bool ImageReader::getBundleBoundingBox(std::vector<float>& box)
{
    return m_d->header.bundleBox(box);
}

} // namespace zd
