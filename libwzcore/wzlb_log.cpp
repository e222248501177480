// Seed of the logging module: the settings that every trace tests.
#include <wz/wzlb_log.h>

int wzlb_log_level = 0;
unsigned long long lib_module_mask = 0;

void wzlb_debug_log_ex(int, unsigned long long, char*, int, char*, char*, ...) {}
