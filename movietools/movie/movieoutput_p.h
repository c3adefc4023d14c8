#pragma once

#include <libdataio/movielock.h>
#include <movietools/files/outputfile.h>

#include <optional>

namespace zd::movietools {

/// The file of a movie that a job makes. A movie that it replaces is locked until then, and what lies beside that goes
/// with it.
class MovieOutput {
public:
    /// Starts the file, as `OutputFile` does. Throws JobError, also when another program records or changes the movie of
    /// that name.
    MovieOutput(const QString& path, bool replace, const QStringList& inputs);

    const OutputFile& file() const { return m_file; }
    const QString& path() const { return m_file.path(); }
    /// Gives the movie its name. An edit of the old movie that died is undone before, so that this one is whole when that
    /// fails. Throws JobError.
    void commit();

private:
    void removeRemains() const;

    std::optional<MovieLock> m_replaced;
    OutputFile m_file;
};

} // namespace zd::movietools
