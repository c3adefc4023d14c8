#pragma once

#include <movietools/job/joberror.h>

#include <gtest/gtest.h>

#include <string>

namespace zd::test {

/// The problem that a job reports, in one line.
template <typename Job>
std::string jobProblem(Job job)
{
    try {
        job();
    } catch (const movietools::JobError& error) {
        EXPECT_FALSE(error.problem.contains(u'\n'));
        return error.problem.toStdString();
    }
    return "nothing was reported";
}

} // namespace zd::test
