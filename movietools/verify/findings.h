#pragma once

#include <QString>

#include <cstdint>
#include <map>
#include <vector>

namespace zd::movietools {

/// How much a finding weighs.
enum class Severity : int {
    Error,   ///< frames or other data are lost or unreachable, or proved changed
    Warning, ///< header, side data and frames contradict each other or break the format's rules
    Note,    ///< worth knowing; the movie is sound all the same
};

/// One thing that a verification found.
struct Finding {
    static constexpr std::int64_t nowhere = -1;

    QString name; ///< stable, for programs: "frame-length"
    Severity severity = Severity::Note;
    std::int64_t offset = nowhere; ///< of the byte it is about, or `nowhere`
    QString expected;
    QString found;
    QString advice; ///< what to do; may be empty
};

/// Collects findings. Of each name a limited number is kept, so that a file full of damage takes no memory out of
/// proportion; the others are counted.
class Findings {
public:
    static constexpr std::uint64_t mostOfOneName = 100;

    void add(Finding finding);
    void add(const char* name, Severity severity, std::int64_t offset, const QString& expected, const QString& found,
             const char* advice);

    const std::vector<Finding>& list() const { return m_list; }
    /// How many there were of a name, kept or not.
    const std::map<QString, std::uint64_t>& counts() const { return m_counts; }
    bool has(Severity severity) const;

private:
    std::vector<Finding> m_list;
    std::map<QString, std::uint64_t> m_counts;
};

/// The severity in one word: "error".
QString severityText(Severity severity);

} // namespace zd::movietools
