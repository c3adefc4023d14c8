#include <libdataio/imagereader.h>
