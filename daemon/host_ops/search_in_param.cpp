// Searches that follow a scratch variable.
#include <wz/vsd_host.h>

#include "daemon/service/connection_state.h"

void get_val_of_searchInParam_from_any_param(connection* cptr, int hash_code, cr_scontents*) {
  if (cptr != nullptr) {
    static_cast<vsd::HostConnection*>(cptr)->state->rerun_search(hash_code);
  }
}
