#include <libdataio/attributechunk.h>
