#include <libdataio/frametimer.h>
