#include <libdataio/chunkreader.h>
