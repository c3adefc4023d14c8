#include <libdataio/report_p.h>
