#include <libdataio/chunkindex.h>
