#include <libdataio/filewriter.h>
