#include "daemon/config.h"
