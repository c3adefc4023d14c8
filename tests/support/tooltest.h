#pragma once

#include <tests/support/moviebytes.h>
#include <tests/support/toolprocess.h>

#include <QDir>

#include <gtest/gtest.h>

#include <algorithm>

namespace zd::test {

/// Runs the real program in a directory of its own.
class ToolTest : public testing::Test {
protected:
    Ended run(const std::string& script) const { return runScript(directory.path(""), script); }

    std::string file(const char* name) const { return readFile(directory.path(name)); }

    /// The names of all files.
    std::string names() const
    {
        return QDir(directory.path(""))
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
            .join(QLatin1Char(' '))
            .toStdString();
    }

    /// What a script says on standard error; it must fail with this code, in one line, and leave no file behind.
    std::string failure(int code, const std::string& script) const
    {
        const std::string before = names();
        const Ended ended = run(script);
        EXPECT_EQ(ended.code, code) << script;
        EXPECT_EQ(ended.output, "") << script;
        EXPECT_EQ(names(), before) << script;
        EXPECT_EQ(std::count(ended.errors.begin(), ended.errors.end(), '\n'), 1) << ended.errors;
        return ended.errors;
    }

    TemporaryDirectory directory;
};

} // namespace zd::test
