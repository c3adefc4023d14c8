#include <log/loglevel.h>

namespace zd {

const LogLevel& LogLevel::getError()
{
    static constexpr LogLevel error(1);
    return error;
}

const LogLevel& LogLevel::getWarning()
{
    static constexpr LogLevel warning(2);
    return warning;
}

const LogLevel& LogLevel::getInfo()
{
    static constexpr LogLevel info(3);
    return info;
}

} // namespace zd
