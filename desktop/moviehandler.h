#pragma once

#include <desktop/moviefile.h>
#include <libdataio/imagereader.h>
#include <movietools/draw/framerenderer.h>

#include <QImageIOHandler>

#include <optional>

class QIODevice;

namespace zd::desktop {

/// The name under which Qt programs ask for the format.
inline constexpr const char* movieFormat = "vqf";

/// Whether the next bytes of a device are the beginning of a movie; they stay to be read.
bool beginsLikeMovie(QIODevice& device);

/// Delivers the frames of the movie in its device, in their order, or by number.
///
/// Works in other people's programs on files of any origin: nothing is thrown, what is damaged gives false, and memory
/// stays below 256 MiB. Movies beyond the limits of movietools/moviepreview.h are refused.
class MovieHandler : public QImageIOHandler {
public:
    bool canRead() const override;
    bool read(QImage* image) override;

    bool supportsOption(ImageOption option) const override;
    QVariant option(ImageOption option) const override;

    int imageCount() const override;
    int currentImageNumber() const override; ///< of the frame that was read or jumped to last
    bool jumpToNextImage() override;
    bool jumpToImage(int number) override;
    int loopCount() const override { return 0; }
    /// Milliseconds from the frame read last to the next one, by their times; after the last frame as before it.
    int nextImageDelay() const override;

private:
    bool _open() const;
    bool _load() const;
    int _next() const { return m_delivered ? m_current + 1 : m_current; }
    bool _draw(unsigned index, QImage& picture);
    int _delayAfter(int index) const;

    // Opened by the first question, which may be a const one.
    mutable bool m_asked = false;
    mutable MovieFile m_file;
    mutable ImageReader m_movie;
    mutable std::optional<movietools::FrameRenderer> m_renderer; // set while a movie is open
    int m_current = 0;
    bool m_delivered = false; // the current frame; `read` goes on to the next one
};

} // namespace zd::desktop
