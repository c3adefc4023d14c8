#include <libdataio/chunkinfo.h>
