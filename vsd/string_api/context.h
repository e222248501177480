// The script API's only view of the host's records: the current connection, the service it serves
// and that service's compiled variables.
//
// A host may be missing (the library loaded by a tool), may be serving nobody, or may serve a
// connection that matched no service. Context folds all of that into one question, "are there
// variables?", asked once per call: without them every name resolves to nothing.
#pragma once

#include <wz/vsd_host.h>

#include <climits>
#include <cstddef>
#include <string_view>

namespace wz::script {

// The longest variable name; longer ones name nothing.
inline constexpr std::size_t kMaxNameLength = 1023;

inline constexpr int kNotFound = -1;

// ArrayReference::index of `name_count`.
inline constexpr int kCountIndex = -1;

// The connection being served; null outside a request and in a process that is no host.
inline connection* current_connection() noexcept {
  return &cur_cptr != nullptr ? cur_cptr : nullptr;
}

// The record `distance` bytes after `base`: how everything inside a service image is linked.
template <typename Record, typename Base>
Record* at_distance(Base* base, long distance) noexcept {
  return reinterpret_cast<Record*>(reinterpret_cast<char*>(base) + distance);
}

// A set of variable kinds; kinds outside 0 to 31 are in none.
class KindSet {
 public:
  template <typename... Kinds>
  constexpr explicit KindSet(Kinds... kinds) noexcept : bits_((0U | ... | (1U << kinds))) {}
  [[nodiscard]] constexpr bool has(int kind) const noexcept {
    return static_cast<unsigned>(kind) < 32 && (bits_ >> kind & 1U) != 0;
  }

 private:
  unsigned bits_;
};

// Kinds whose value is an entry of the connection's uvtable.
inline constexpr KindSet kInUvtable{2,  SCRATCH_VAR, 5,  8,  9,  10, 11, 12, 14,
                                    15, 16,          17, 20, 21, 23, 24, 25};
// Kinds that `name_N` and `name_count` may refer to.
inline constexpr KindSet kIndexable{2, SCRATCH_VAR, 5, 15, 16, 17, 20, 23, 24, 25};
// Kinds that scripts may save to.
inline constexpr KindSet kWritable{2, SCRATCH_VAR, 5, 14, 15, 20, 23, 24, 25};

class Context {
 public:
  // The context of the connection being served.
  static Context current() noexcept { return Context(current_connection()); }

  explicit Context(connection* cptr) noexcept : cptr_(cptr) {
    if (cptr == nullptr || cptr->scptr == nullptr || cptr->scptr->cr_scptr_idx == 0 ||
        &vsd_hash_table_shm_get_param == nullptr) {
      return;
    }
    block_ = at_distance<cr_scontents>(cptr->scptr, cptr->scptr->cr_scptr_idx);
    if (block_->vars_trans_table_idx != 0) {
      variables_ = at_distance<VarTransTableEntry>(block_, block_->vars_trans_table_idx);
    }
  }

  // The variable's hash code, or kNotFound.
  [[nodiscard]] int find(std::string_view name) const noexcept {
    if (variables_ == nullptr || name.size() - 1 >= kMaxNameLength) {
      return kNotFound;
    }
    const int hash_code = vsd_hash_table_shm_get_param(
        at_distance<char>(block_, block_->var_hash_table_idx), const_cast<char*>(name.data()),
        static_cast<int>(name.size()), block_->var_hash_table_next_state);
    return hash_code >= 0 ? hash_code : kNotFound;
  }

  // The translation entry of a hash code that find() returned: without a table it returns none.
  [[nodiscard]] const VarTransTableEntry& variable(int hash_code) const noexcept {
    return variables_[hash_code];  // NOLINT(clang-analyzer-core.uninitialized.UndefReturn)
  }

  // The entry that holds the variable's value; null for kinds without one.
  [[nodiscard]] UserVarEntry* value_entry(const VarTransTableEntry& variable) const noexcept {
    return kInUvtable.has(variable.var_type) ? any_entry(variable) : nullptr;
  }
  // The variable's entry whatever its kind; null for a connection without variables.
  [[nodiscard]] UserVarEntry* any_entry(const VarTransTableEntry& variable) const noexcept {
    return cptr_->uvtable != nullptr ? &cptr_->uvtable[variable.user_var_table_idx] : nullptr;
  }

  [[nodiscard]] connection* cptr() const noexcept { return cptr_; }
  // Only valid after a successful find().
  [[nodiscard]] cr_scontents* block() const noexcept { return block_; }
  [[nodiscard]] char* pool_text(long distance) const noexcept {
    return at_distance<char>(cptr_->scptr, cptr_->scptr->string_big_buf_idx) + distance;
  }

 private:
  connection* cptr_;
  cr_scontents* block_ = nullptr;
  const VarTransTableEntry* variables_ = nullptr;
};

inline bool is_array(const UserVarEntry* entry) noexcept {
  return entry != nullptr && (entry->flags & WZ_USER_VAR_IS_ARRAY) != 0;
}

// Lengths are unsigned in the records and int in the exported interfaces.
inline int to_int(std::size_t length) noexcept {
  return length < INT_MAX ? static_cast<int>(length) : INT_MAX;
}

// `name_N` or `name_count` taken apart.
struct ArrayReference {
  int hash_code = kNotFound;  // of the base variable
  int index = 0;              // kCountIndex, or the number: 1 is the first element, 0 is none
};

// Splits a name that is no variable itself at its last underscore.
ArrayReference find_array_reference(const Context& context, std::string_view name) noexcept;

// A NUL-terminated copy of a name for the length of a call.
struct NameText {
  explicit NameText(std::string_view name) noexcept {
    text[name.copy(text, kMaxNameLength)] = '\0';
  }
  char text[kMaxNameLength + 1];
};

}  // namespace wz::script
