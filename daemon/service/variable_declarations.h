// The declarations of variables: from fields to definitions.
#pragma once

#include <filesystem>
#include <string_view>

#include "daemon/service/declaration_fields.h"
#include "daemon/service/service_definition.h"

namespace vsd {

// Where a declaration stands.
struct DeclarationPlace {
  const std::filesystem::path& folder;  // files that it names are looked up here
  const std::string& text;              // the whole declaration
  int line;
};

// Reads the fields of a declaration into `variable`, whose name and line are set already.
using VariableReader = void (*)(DeclarationFields& fields, const DeclarationPlace& place,
                                const DeclarationFields::Report& report,
                                VariableDefinition& variable);

// The reader of a declaration by its name; null when `api` declares no variable.
[[nodiscard]] VariableReader find_variable_reader(std::string_view api);

// The value of ORD=: a number, or one of the library's WZ_ORD_... codes; 1 by default.
[[nodiscard]] int read_ordinal(DeclarationFields& fields);
// A part of the request, by default the body.
[[nodiscard]] RequestPart read_request_part(DeclarationFields& fields, std::string_view keyword);

// The content of a file that a declaration names with `keyword`; reported when it is missing or
// cannot be read.
std::string read_named_file(DeclarationFields& fields, std::string_view keyword,
                            const std::filesystem::path& folder,
                            const DeclarationFields::Report& report, std::filesystem::path& path);

}  // namespace vsd
