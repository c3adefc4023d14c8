#include <desktop/imageplugin.h>

#include <desktop/moviehandler.h>

namespace zd::desktop {

QImageIOPlugin::Capabilities ImagePlugin::capabilities(QIODevice* device, const QByteArray& format) const
{
    if (!format.isEmpty() && format != movieFormat)
        return {};
    const bool readable = device == nullptr ? format == movieFormat : beginsLikeMovie(*device);
    return readable ? CanRead : Capabilities();
}

QImageIOHandler* ImagePlugin::create(QIODevice* device, const QByteArray& format) const
{
    QImageIOHandler* handler = new MovieHandler;
    handler->setDevice(device);
    handler->setFormat(format.isEmpty() ? QByteArray(movieFormat) : format);
    return handler;
}

} // namespace zd::desktop
