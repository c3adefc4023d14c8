#pragma once

#include <QString>

namespace zd::movietools {

/// A frame that a result lacks, or has only in part.
struct LostFrame {
    unsigned frame = 0; ///< counted from 0
    QString reason;     ///< to be read after "frame N"
};

} // namespace zd::movietools
