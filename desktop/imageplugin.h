#pragma once

#include <QImageIOPlugin>

namespace zd::desktop {

/// Lets every Qt program show movies: QImageReader delivers their frames, QMovie plays them.
class ImagePlugin : public QImageIOPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QImageIOHandlerFactoryInterface_iid FILE "imageplugin.json")

public:
    /// Whether a device holds a movie, by its first bytes: a name says nothing, there are audio files of the same one.
    Capabilities capabilities(QIODevice* device, const QByteArray& format) const override;
    QImageIOHandler* create(QIODevice* device, const QByteArray& format = QByteArray()) const override;
};

} // namespace zd::desktop
