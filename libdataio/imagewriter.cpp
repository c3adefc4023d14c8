#include <libdataio/imagewriter.h>
