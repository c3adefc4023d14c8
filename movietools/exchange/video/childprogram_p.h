#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstddef>

#include <sys/types.h>

namespace zd::movietools {

/// Another program that takes bytes from this one or hands it some. Signals of the terminal do not reach it; its
/// destructor ends it. Never copied.
class ChildProgram {
public:
    enum class Direction {
        TakesBytes, ///< from its standard input
        GivesBytes, ///< at its standard output
    };

    /// Starts `program`, looked up in PATH. Errors are reported for the file at `path`, which it works for. Throws
    /// JobError, also when there is no such program.
    ChildProgram(const QString& program, const QStringList& arguments, Direction direction, const QString& path);
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;
    ~ChildProgram();

    /// Hands bytes over. Throws JobError when the program ended or closed its input.
    void write(const void* data, std::size_t size);
    /// Fetches bytes; fewer than `size` only at the end of what the program says.
    std::size_t read(void* data, std::size_t size);
    /// Ends the conversation and waits. Throws JobError with the program's own words when it failed.
    void finish();

private:
    void closeConversation();
    int wait();
    [[noreturn]] void reportFailure();

    QString m_program;
    QString m_path;
    pid_t m_pid = -1;
    int m_fd = -1;
    int m_messages = -1; // what it says on standard error
};

} // namespace zd::movietools
