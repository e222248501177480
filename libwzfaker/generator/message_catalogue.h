// Translations of the iso-codes package, compiled message catalogues (.mo).
#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace wz::faker::generator {

// Translations by English text. Empty when the file is missing, as on machines that install no
// translations, or is no catalogue of this machine's byte order.
std::map<std::string, std::string> read_message_catalogue(const std::filesystem::path& file);

}  // namespace wz::faker::generator
