#include <libdataio/attributepaletteadaptor.h>
