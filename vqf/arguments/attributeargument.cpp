#include <vqf/arguments/attributeargument.h>

#include <movietools/movie/attributerules.h>
#include <vqf/arguments/usageerror.h>

namespace zd::tool {

std::pair<QString, QString> attributeArgument(const std::string& argument)
{
    const QString text = QString::fromStdString(argument);
    const qsizetype split = text.indexOf(QLatin1Char('='));
    if (split < 0)
        throw UsageError{"--attr " + argument + ": write it as NAME=VALUE"};
    const QString name = text.left(split);
    const QString value = text.mid(split + 1);
    const QString problem = movietools::whyNotStorable(name, value);
    if (!problem.isEmpty())
        throw UsageError{"--attr " + argument + ": the attribute " + problem.toStdString()};
    return {name, value};
}

} // namespace zd::tool
