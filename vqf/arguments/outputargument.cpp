#include <vqf/arguments/outputargument.h>

#include <vqf/arguments/usageerror.h>
#include <vqf/console/console.h>

#include <unistd.h>

namespace zd::tool {

Option OutputArgument::addTo(const Syntax& syntax, const char* what)
{
    const std::string name = what;
    const Option output =
        syntax.option("-o,--output", m_path, "The " + name + " to make; - for standard output").typeName("PATH");
    syntax.flag("-f,--force", m_force, "Replace what is there");
    return output;
}

Option MovieOutputArgument::addTo(const Syntax& syntax, const char* what)
{
    const Option output = OutputArgument::addTo(syntax, what);
    m_wait.addTo(syntax);
    return output;
}

QString OutputArgument::path() const
{
    if (isStandardOutput() && ::isatty(STDOUT_FILENO) == 1)
        throw UsageError{"-o -: standard output is a terminal; name a file or send it to a program"};
    if (isStandardOutput())
        leaveStandardOutput();
    return QString::fromStdString(m_path);
}

} // namespace zd::tool
