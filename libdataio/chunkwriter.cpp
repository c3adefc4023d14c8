#include <libdataio/chunkwriter.h>
