#pragma once

#include <libdataio/imagewriter.h>
#include <tests/support/childprocess.h>
#include <tests/support/faults.h>
#include <tests/support/moviebytes.h>

#include <QString>
#include <QStringList>

#include <functional>
#include <string>
#include <vector>

namespace zd::test {

/// One operation of a program that records or edits a movie. It can be repeated after a failure.
struct Step {
    enum class Kind {
        Create,
        Frame,
        Replace,
        Close,
        Modify,
        Attributes,
    };

    Kind kind;
    std::function<void(ImageWriter& writer, const QString& movie)> run;
    std::string pixels; ///< what a frame operation writes
};

/// What a program does with one movie, with times that it sets itself: the result has the same bytes each time.
struct Scenario {
    const char* name;
    bool journaled = true;
    bool logged = false;
    bool onMovie = true; ///< starts from `movieToEdit()`, else from nothing
    std::vector<Step> steps;
};

std::vector<Scenario> recordings();
std::vector<Scenario> edits(bool journaled);
/// An edit of everything, with a journal and a log, in one step: frames added, replaced, replaced again and reordered.
Scenario wholeEdit();
/// All of the above, edits with and without a journal.
std::vector<Scenario> allScenarios();

/// A closed movie of three frames with side data of every kind.
std::string movieToEdit();
std::vector<std::string> framesToEdit();

/// Whether a step of that kind may report that code when the system or memory fails.
bool isDescribed(Step::Kind kind, const std::string& code);

/// The place where scenarios run, one after the other.
class Stage {
public:
    const QString& movie() const { return m_movie; }
    std::string file() const { return readFile(m_movie); }
    /// Names of all files but the movie.
    QStringList leftovers() const;
    /// As before the first step.
    void prepare(const Scenario& scenario) const;
    void run(const Scenario& scenario) const;
    /// The movie that the scenario makes when nothing fails.
    std::string result(const Scenario& scenario) const;
    /// Runs the scenario in a process that is killed by `fault`; false when it ended before.
    bool dies(const Scenario& scenario, const Fault& fault) const;
    /// Frames whose operation returned before that death.
    std::vector<std::string> recorded(const Scenario& scenario) const;
    /// Checks that the frames `recorded`, and those of the movie to edit, are there: in the movie or among what was
    /// rescued. Only frames that the scenario replaces may be the old ones, the new ones or, half done, neither.
    void expectNoFrameLost(const Scenario& scenario, const std::vector<std::string>& recorded) const;

private:
    std::vector<std::string> framesLeft() const;

    TemporaryDirectory m_directory;
    const QString m_movie = m_directory.path("movie.vqf");
    const NoSynchronisation m_noSynchronisation;
    volatile int& m_stepsDone = sharedValue<int>();
};

} // namespace zd::test
