/* Every public header on its own feet, as a service script and as a host would include them. */
#include <wz/wz_script.h>
#include <wz/wzlb.h>
#include <wz/wzlb_faker.h>
#include <wz/vsd_host.h>

int other_unit(void);

int main(void)
{
  return other_unit() == (int)sizeof(WZApiFields) ? 0 : 1;
}
