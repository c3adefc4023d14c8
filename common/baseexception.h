#pragma once

#include <common/export.h>
#include <log/locationinfo.h>
#include <log/logorigin.h>

#include <QString>

namespace zd {

/// Root of the exceptions of this project. Deliberately not derived from std::exception: a handler for
/// the standard library's failures does not catch these.
class DATAIO_COMMON_EXPORT BaseException {
public:
    BaseException(const QString& message, LogOrigin origin, const QString& code, const QString& detail,
                  const LocationInfo& location);
    BaseException(const BaseException&);
    BaseException& operator=(const BaseException&);
    virtual ~BaseException();

    const QString& message() const { return m_message; }        ///< what went wrong, for people
    LogOrigin origin() const { return m_origin; }               ///< who detected it
    const QString& code() const { return m_code; }              ///< what went wrong, for programs
    const QString& detail() const { return m_detail; }          ///< always empty for this library's reports
    const LocationInfo& location() const { return m_location; } ///< where it was reported

private:
    QString m_message;
    LogOrigin m_origin;
    QString m_code;
    QString m_detail;
    LocationInfo m_location;
};

} // namespace zd
