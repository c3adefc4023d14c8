#include <log/logger.h>
