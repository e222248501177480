// The declarations of data sources and of the variables that take their values from rows.
#pragma once

#include <vector>

#include "daemon/service/variable_declarations.h"

namespace vsd {

// wz_index_datasource. Reads the rows too, to tell what is wrong with them.
[[nodiscard]] DataSourceDefinition read_data_source(DeclarationFields& fields,
                                                    const std::filesystem::path& folder,
                                                    const std::filesystem::path& kept_folder,
                                                    const DeclarationFields::Report& report,
                                                    std::vector<Problem>& problems);

// wz_index_var
void read_index(DeclarationFields& fields, const DeclarationPlace& place,
                const DeclarationFields::Report& report, VariableDefinition& variable);
// wz_global_index_var
void read_global_index(DeclarationFields& fields, const DeclarationPlace& place,
                       const DeclarationFields::Report& report, VariableDefinition& variable);

}  // namespace vsd
