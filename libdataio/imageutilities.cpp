#include <libdataio/imageutilities.h>
