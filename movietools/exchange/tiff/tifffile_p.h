#pragma once

#include <QString>

#include <cstdint>
#include <memory>

#include <tiffio.h>

namespace zd::movietools {

/// An open TIFF file whose library's messages are collected instead of printed. Never copied.
class TiffFile {
public:
    /// Opens a regular file for reading, with its first page. Throws JobError.
    static TiffFile open(const QString& path);
    /// Starts a file at `workPath` in this machine's byte order; errors speak of `path`. Throws JobError.
    static TiffFile create(const QString& workPath, const QString& path, bool big);

    ::TIFF* handle() const { return m_handle.get(); }
    std::int64_t bytes() const { return m_bytes; } ///< length of a file opened for reading

    /// What the TIFF library had to say since the last `forget`: its first error, whether there were warnings.
    bool hasErrors() const { return !m_messages->error.isEmpty(); }
    bool hasWarnings() const { return !m_messages->warning.isEmpty(); }
    QString message() const; ///< the first error, else the first warning, else a general text
    int systemErrorNumber() const { return m_messages->systemError; } ///< errno when the first error was reported
    void forget() { *m_messages = {}; }

    /// Closes the file; false when the TIFF library reported an error meanwhile.
    bool close();

private:
    struct Messages {
        QString error;
        QString warning;
        int systemError = 0;
    };
    struct Closer {
        void operator()(::TIFF* tiff) const { TIFFClose(tiff); }
    };

    TiffFile() = default;
    void attach(int fd, const char* mode, std::int64_t largestAllocation);
    static int takeError(::TIFF*, void* messages, const char* module, const char* format, va_list arguments);
    static int takeWarning(::TIFF*, void* messages, const char* module, const char* format, va_list arguments);

    std::unique_ptr<Messages> m_messages = std::make_unique<Messages>(); // at one address for the callbacks
    std::unique_ptr<::TIFF, Closer> m_handle;
    std::int64_t m_bytes = 0;
};

} // namespace zd::movietools
