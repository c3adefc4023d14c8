#include <log/logger.h>
#include <python/core/errors.h>
#include <python/core/jobs.h>
#include <python/core/moviereader.h>
#include <python/core/moviewriter.h>

#include <pybind11/pybind11.h>

// Python code tells people what failed; the log speaks when the environment asks for it.
static void quietenLog()
{
    if (qEnvironmentVariableIsEmpty("DATAIO_LOG"))
        zd::Logger::setLevel(QStringLiteral("*"), 0);
}

PYBIND11_MODULE(_core, module)
{
    module.doc() = "The part of vqf that is compiled; use the package itself.";
    quietenLog();
    zd::python::translateErrors();
    zd::python::MovieReader::define(module);
    zd::python::MovieWriter::define(module);
    zd::python::defineJobs(module);
}
