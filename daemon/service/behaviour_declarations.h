// The declarations of how a service behaves on the wire: how long it takes and how it goes wrong.
#pragma once

#include "daemon/service/declaration_fields.h"
#include "daemon/service/service_definition.h"

namespace vsd {

// wz_svc_time.
[[nodiscard]] ServiceTime read_service_time(DeclarationFields& fields,
                                            const DeclarationFields::Report& report);

// The field `fault` of a wz_response.
void read_fault(DeclarationFields& fields, const DeclarationFields::Report& report,
                ResponseDefinition& response);

// Whether an answer with this fault is made from a template.
[[nodiscard]] bool needs_template(http::Fault fault);

}  // namespace vsd
