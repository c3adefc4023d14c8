#include <libdataio/imagefilelayout.h>
