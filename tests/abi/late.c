/*
 * Loads the library late, as interpreters and plugin hosts do: what it keeps per thread must not
 * want room that the dynamic loader reserves at the start of a program.
 */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char **argv)
{
  void *library = argc > 1 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
  long long (*now)(void) = NULL;
  void *symbol = library != NULL ? dlsym(library, "wzlb_get_cur_time_in_ms") : NULL;
  if (symbol == NULL) {
    fprintf(stderr, "failed: %s\n", dlerror());
    return 1;
  }
  memcpy(&now, &symbol, sizeof now);
  return now() > 0 ? 0 : 1;
}
