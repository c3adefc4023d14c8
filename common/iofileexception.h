#pragma once

#include <common/recoverableexception.h>

namespace zd {

/// A failure of reading, writing or understanding a file: what every operation of the library throws.
class DATAIO_COMMON_EXPORT IOFileException : public RecoverableException {
public:
    using RecoverableException::RecoverableException;
    IOFileException(const IOFileException&);
    IOFileException& operator=(const IOFileException&);
    ~IOFileException() override;
};

} // namespace zd
