#pragma once

#include <common/baseexception.h>

namespace zd {

/// A failure after which the program can go on.
class DATAIO_COMMON_EXPORT RecoverableException : public BaseException {
public:
    using BaseException::BaseException;
    RecoverableException(const RecoverableException&);
    RecoverableException& operator=(const RecoverableException&);
    ~RecoverableException() override;
};

} // namespace zd
