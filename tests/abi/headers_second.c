/* The headers again in another order: a second unit shows definitions that should be declarations. */
#include <wz/vsd_host.h>
#include <wz/wzlb.h>
#include <wz/wzlb_faker.h>
#include <wz/wz_script.h>

int other_unit(void);

int other_unit(void)
{
  return (int)sizeof(WZApiFields);
}
