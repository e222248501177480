// The exported functions. Ids below the number of classes stand for classes with their defaults;
// those above for texts with arguments that somebody has asked for, so that the arguments are read
// once and need not be there when a value is drawn.
#include <wz/wzlb_faker.h>

#include <cstdint>
#include <memory>
#include <new>
#include <unordered_map>
#include <vector>

#include "libwzfaker/faker_class.h"

namespace wz::faker {
namespace {

constexpr std::size_t kMostDeclared = 65536;

// A class with the texts that describe it.
struct KnownClass {
  const ClassDefinition* definition;
  Arguments defaults;
  std::string rules;
};

// A class with arguments of its own.
struct DeclaredClass {
  std::string text;  // the arguments refer to it
  const ClassDefinition* definition;
  Arguments arguments;
};

class Register {
 public:
  Register() {
    for (const auto& subject :
         {person_classes(), place_classes(), internet_classes(), business_classes(),
          finance_classes(), code_classes(), date_classes(), text_classes(), number_classes()}) {
      for (const ClassDefinition& definition : subject) {
        ids_.emplace(definition.name, static_cast<int>(known_.size()));
        known_.push_back({&definition, Arguments(definition.rules), describe(definition.rules)});
      }
    }
  }

  [[nodiscard]] const std::vector<KnownClass>& known() const { return known_; }

  int id_of(std::string_view value) {
    const std::size_t semicolon = value.find(';');
    std::string_view name = value.substr(0, semicolon);
    while (name.ends_with(' ')) {
      name.remove_suffix(1);
    }
    const auto found = ids_.find(name);
    if (found == ids_.end()) {
      return -1;
    }
    return semicolon == std::string_view::npos
               ? found->second
               : declared_id_of(*known_[static_cast<std::size_t>(found->second)].definition, value,
                                semicolon + 1);
  }

  // What `id` stands for. `text` are the arguments of a plain class; `storage` holds them.
  [[nodiscard]] const Arguments* find(int id, const char* text, Arguments& storage,
                                      const ClassDefinition*& definition) const {
    const auto index = static_cast<std::size_t>(id);
    if (id < 0 || index >= known_.size() + declared_.size()) {
      return nullptr;
    }
    if (index >= known_.size()) {
      const DeclaredClass& declared = *declared_[index - known_.size()];
      definition = declared.definition;
      return &declared.arguments;
    }
    definition = known_[index].definition;
    if (text == nullptr || reinterpret_cast<std::uintptr_t>(text) == UINTPTR_MAX) {
      return &known_[index].defaults;
    }
    storage = known_[index].defaults;
    return storage.read(text, definition->rules) ? &storage : nullptr;
  }

 private:
  int declared_id_of(const ClassDefinition& definition, std::string_view value,
                     std::size_t arguments_at) {
    if (const auto known = declared_ids_.find(value); known != declared_ids_.end()) {
      return known->second;
    }
    if (declared_.size() == kMostDeclared) {
      return -1;
    }
    auto declared = std::make_unique<DeclaredClass>(
        DeclaredClass{std::string(value), &definition, Arguments(definition.rules)});
    const auto arguments = std::string_view(declared->text).substr(arguments_at);
    if (!declared->arguments.read(arguments, definition.rules)) {
      return -1;
    }
    const auto id = static_cast<int>(known_.size() + declared_.size());
    declared_.push_back(std::move(declared));
    declared_ids_.emplace(declared_.back()->text, id);
    return id;
  }

  std::vector<KnownClass> known_;
  std::unordered_map<std::string_view, int> ids_;
  std::vector<std::unique_ptr<DeclaredClass>> declared_;
  std::unordered_map<std::string_view, int> declared_ids_;
};

Register& classes() {
  static Register all;
  return all;
}

Random& generator() {
  thread_local Random random;
  return random;
}

// What the thread was given last.
std::string& last_value() {
  thread_local std::string value;
  return value;
}

// Runs `body`; `otherwise` when it runs out of memory or finds no source of randomness.
template <typename Result, typename Body>
Result guarded(Result otherwise, Body body) noexcept {
  try {
    return body();
  } catch (...) {
    return otherwise;
  }
}

}  // namespace
}  // namespace wz::faker

int wzlb_faker_class_to_id(const char* value) {
  return wz::faker::guarded(
      -1, [value] { return value == nullptr ? -1 : wz::faker::classes().id_of(value); });
}

const char* wzlb_faker_get_by_id(int id, const char* args) {
  return wz::faker::guarded<const char*>(nullptr, [id, args]() -> const char* {
    std::string& value = wz::faker::last_value();
    const wz::faker::ClassDefinition* definition = nullptr;
    wz::faker::Arguments storage({});
    const auto* arguments = wz::faker::classes().find(id, args, storage, definition);
    if (arguments == nullptr) {
      return nullptr;
    }
    value.clear();
    wz::faker::Draw draw{wz::faker::generator(), *arguments, value};
    definition->make(draw);
    return value.c_str();
  });
}

void wzlb_faker_seed(unsigned long long seed) {
  wz::faker::guarded(0, [seed] {
    wz::faker::generator().seed(seed);
    return 0;
  });
}

int wzlb_faker_class_count(void) {
  return wz::faker::guarded(0,
                            [] { return static_cast<int>(wz::faker::classes().known().size()); });
}

int wzlb_faker_describe_class(int id, WzFakerClass* info) {
  if (info == nullptr || id < 0 || id >= wzlb_faker_class_count()) {
    return -1;
  }
  const auto& known = wz::faker::classes().known()[static_cast<std::size_t>(id)];
  *info = {known.definition->name, known.definition->description, known.rules.c_str()};
  return 0;
}
