#include <common/zdpalette.h>
