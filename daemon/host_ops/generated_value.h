// Values of generated variables: random numbers and strings, fake data, unique numbers.
#pragma once

#include "daemon/service/connection_state.h"

namespace vsd {

// Gives the variable the value that a use at this moment has to find: a new one, or that of the
// client's connection. Does nothing unless it is such a variable and `table` its service's.
void refresh_generated(ConnectionState& state, const char* table, int hash_code);

// The same for a variable that has just been looked up in `table`, during the request being served.
// Nearly every lookup ends at the first test.
inline void on_lookup(const char* table, int hash_code) {
  ConnectionState* state = ConnectionState::current();
  if (state != nullptr && state->has_generated()) [[unlikely]] {
    refresh_generated(*state, table, hash_code);
  }
}

}  // namespace vsd
