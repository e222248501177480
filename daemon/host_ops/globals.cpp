#include <wz/vsd_host.h>
connection* cur_cptr = nullptr;
