#include <libdataio/systemcalls_p.h>
