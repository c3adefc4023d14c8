#include <common/baseexception.h>
