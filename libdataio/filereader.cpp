#include <libdataio/filereader.h>
