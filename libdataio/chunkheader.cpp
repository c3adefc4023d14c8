#include <libdataio/chunkheader.h>
