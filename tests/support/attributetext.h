#pragma once

#include <libdataio/attributechunk.h>

#include <string>

namespace zd::test {

/// The lines of a header.
inline std::string dumped(const AttributeChunk& attributes)
{
    QString out;
    attributes.dump(out);
    return out.toStdString();
}

} // namespace zd::test
