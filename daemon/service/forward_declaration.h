// The fields of a wz_response that hands its requests on to a backend.
#pragma once

#include "daemon/service/declaration_fields.h"
#include "daemon/service/service_definition.h"

namespace vsd {

// Reads forward= and what belongs to it; `response.forward` stays empty without it.
void read_forward(DeclarationFields& fields, const DeclarationFields::Report& report,
                  ResponseDefinition& response);

}  // namespace vsd
