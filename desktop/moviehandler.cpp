#include <desktop/moviehandler.h>

#include <common/iofileexception.h>
#include <movietools/draw/moviepreview.h>

#include <QIODevice>
#include <QImage>
#include <QVariant>

#include <algorithm>
#include <limits>
#include <new>

namespace zd::desktop {

namespace {

constexpr char beginning[] = {'\n', '<', 'C', 'S', 'T', 'A'};
constexpr int usualDelay = 100; // milliseconds, for movies without times

/// Runs `work`; false when it fails or the memory does not suffice.
template <typename Work>
bool succeeds(Work work)
{
    try {
        return work();
    } catch (const IOFileException&) {
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

std::int64_t microseconds(const timeval& time)
{
    return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_usec;
}

bool prepare(QImage& picture, const QSize& size, QImage::Format format)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return QImageIOHandler::allocateImage(size, format, &picture); // within the limit of the program
#else
    if (picture.size() != size || picture.format() != format)
        picture = QImage(size, format);
    return !picture.isNull();
#endif
}

} // namespace

bool beginsLikeMovie(QIODevice& device)
{
    const QByteArray expected = QByteArray::fromRawData(beginning, sizeof beginning);
    return device.isReadable() && device.peek(expected.size()) == expected;
}

bool MovieHandler::canRead() const
{
    if (m_asked)
        return m_renderer && _next() < m_movie.nbFrames();
    return device() != nullptr && beginsLikeMovie(*device());
}

/// Opens the movie, once; whether there is one.
bool MovieHandler::_open() const
{
    if (!m_asked) {
        const bool promising = canRead();
        m_asked = true;
        return promising && succeeds([this] { return _load(); });
    }
    return m_renderer.has_value();
}

bool MovieHandler::_load() const
{
    const QString path = m_file.path(*device());
    if (path.isEmpty())
        return false;
    movietools::openForPreview(m_movie, path);
    movietools::FrameRenderer renderer(m_movie);
    if (renderer.frameBytes() < 1 || renderer.frameBytes() > movietools::largestPreviewedFrame)
        return false;
    m_renderer.emplace(std::move(renderer));
    return true;
}

bool MovieHandler::read(QImage* image)
{
    if (!_open() || !canRead())
        return false;
    m_current = _next(); // also when it is damaged: the one behind it may be whole
    m_delivered = true;
    QImage picture;
    if (!succeeds([&] { return _draw(static_cast<unsigned>(m_current), picture); }))
        return false;
    *image = picture;
    return true;
}

bool MovieHandler::_draw(unsigned index, QImage& picture)
{
    return prepare(picture, m_renderer->size(), m_renderer->format()) && m_renderer->draw(index, picture);
}

bool MovieHandler::supportsOption(ImageOption option) const
{
    return option == Size || option == ImageFormat || option == Animation || option == Description;
}

QVariant MovieHandler::option(ImageOption option) const
{
    if (!supportsOption(option) || !_open())
        return {};
    switch (option) {
    case Size:
        return m_renderer->size();
    case ImageFormat:
        return static_cast<int>(m_renderer->format());
    case Description: {
        const QString comment = m_movie.getComment();
        return comment.isEmpty() ? QVariant() : QVariant(QStringLiteral("Comment: ") + comment);
    }
    default:
        return true;
    }
}

int MovieHandler::imageCount() const
{
    return _open() ? m_movie.nbFrames() : 0;
}

int MovieHandler::currentImageNumber() const
{
    return m_current;
}

bool MovieHandler::jumpToNextImage()
{
    return jumpToImage(m_current + 1);
}

bool MovieHandler::jumpToImage(int number)
{
    if (number < 0 || number >= imageCount())
        return false;
    m_current = number;
    m_delivered = false;
    return true;
}

int MovieHandler::nextImageDelay() const
{
    if (!_open())
        return 0;
    const int last = m_movie.nbFrames() - 1;
    return _delayAfter(std::min(m_current, last - 1));
}

/// Milliseconds between two frames, the first given; times that run back give 0.
int MovieHandler::_delayAfter(int index) const
{
    timeval from;
    timeval to;
    if (index < 0 || !m_movie.getFrameTiming(static_cast<unsigned>(index), from) ||
        !m_movie.getFrameTiming(static_cast<unsigned>(index) + 1, to))
        return usualDelay;
    const std::int64_t delay = (microseconds(to) - microseconds(from) + 500) / 1000;
    return static_cast<int>(std::clamp<std::int64_t>(delay, 0, std::numeric_limits<int>::max()));
}

} // namespace zd::desktop
