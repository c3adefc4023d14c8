#include <desktop/moviefile.h>

#include <QFileDevice>

namespace zd::desktop {

namespace {

constexpr qint64 largestCopy = 128 << 20;
constexpr qint64 pieceBytes = 1 << 20;

QString descriptorPath(int descriptor)
{
    return QStringLiteral("/proc/self/fd/%1").arg(descriptor);
}

} // namespace

QString MovieFile::path(QIODevice& device)
{
    m_copy.reset();
    if (const auto* file = qobject_cast<QFileDevice*>(&device); file != nullptr && file->pos() == 0) {
        const int descriptor = file->handle();
        if (descriptor != -1)
            return descriptorPath(descriptor);
    }
    return _copy(device) ? descriptorPath(m_copy->handle()) : QString();
}

bool MovieFile::_copy(QIODevice& device)
{
    m_copy = std::make_unique<QTemporaryFile>();
    if (!m_copy->open())
        return false;
    while (m_copy->pos() < largestCopy) {
        const QByteArray piece = device.read(pieceBytes);
        if (piece.isEmpty())
            return m_copy->flush();
        if (m_copy->write(piece) != piece.size())
            return false;
    }
    return false;
}

} // namespace zd::desktop
