#include <common/iofileexception.h>

namespace zd {

// All special members live here, so that every library and program shares one type information per class
// and catches by base across library borders.

BaseException::BaseException(const QString& message, LogOrigin origin, const QString& code, const QString& detail,
                             const LocationInfo& location)
    : m_message(message), m_origin(origin), m_code(code), m_detail(detail), m_location(location)
{
}

BaseException::BaseException(const BaseException&) = default;
BaseException& BaseException::operator=(const BaseException&) = default;
BaseException::~BaseException() = default;

RecoverableException::RecoverableException(const RecoverableException&) = default;
RecoverableException& RecoverableException::operator=(const RecoverableException&) = default;
RecoverableException::~RecoverableException() = default;

IOFileException::IOFileException(const IOFileException&) = default;
IOFileException& IOFileException::operator=(const IOFileException&) = default;
IOFileException::~IOFileException() = default;

} // namespace zd
