#include <python/core/errors.h>

#include <common/iofileexception.h>
#include <movietools/job/joberror.h>
#include <python/core/textcaster.h>

namespace zd::python {

namespace py = pybind11;

namespace {

void raise(const QString& message, const QString& code, LogOrigin origin)
{
    const py::object type = py::module_::import("vqf.errors").attr("MovieError");
    const py::object error = type(message, code, static_cast<int>(origin));
    PyErr_SetObject(type.ptr(), error.ptr());
}

QString messageOf(const movietools::JobError& error)
{
    QString message = error.path.isEmpty() ? error.problem : error.path + QStringLiteral(": ") + error.problem;
    // What the tool's option allows, an argument allows here.
    if (!error.advice.isEmpty())
        message += QStringLiteral("; ") +
                   QString(error.advice)
                       .replace(QLatin1StringView("--force to go on"), QLatin1StringView("unprotected=True to go on"));
    return message;
}

} // namespace

void translateErrors()
{
    py::register_exception_translator([](std::exception_ptr pointer) {
        try {
            if (pointer)
                std::rethrow_exception(pointer);
        } catch (const IOFileException& report) {
            raise(report.message(), report.code(), report.origin());
        } catch (const movietools::JobError& error) {
            raise(messageOf(error), error.code, File);
        }
    });
}

} // namespace zd::python
