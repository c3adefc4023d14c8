#include <common/ftransfobase.h>
