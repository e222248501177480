// The keywords of wz_service for other protocols than HTTP.
#pragma once

#include <optional>

#include "daemon/raw/endpoint.h"
#include "daemon/service/declaration_fields.h"

namespace vsd {

// Nothing for HTTP. What is wrong is reported.
[[nodiscard]] std::optional<raw::Declaration> read_raw_declaration(
    DeclarationFields& fields, const DeclarationFields::Report& report);

}  // namespace vsd
