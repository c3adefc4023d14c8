#include <libdataio/pixeltypes.h>
