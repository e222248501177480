// Splitting a line into fields, in place: the delimiters become NULs. Every splitter stores at most
// the given number of fields and returns that number when there are more.
#include <wz/wzlb_util.h>

#include <cstring>

namespace {

// Where wz_strtok goes on in this thread; null when there is nothing left.
constinit thread_local char* saved_position = nullptr;

// First occurrence of a delimiter; an empty one occurs nowhere.
char* find_delimiter(char* text, const char* delimiter) {
  return delimiter == nullptr || *delimiter == '\0' ? nullptr : std::strstr(text, delimiter);
}

// Stores the fields that `next_field` yields until it yields null.
template <typename NextField>
int store_fields(char** fields, int max_fields, NextField next_field) {
  int count = 0;
  while (char* field = next_field()) {
    if (count >= max_fields) {
      return max_fields > 0 ? max_fields : 0;
    }
    fields[count++] = field;
  }
  return count;
}

// Cuts the quoted field that starts at `content`, behind its opening quote, and returns where
// scanning resumes. The search for the closing quote starts at the second content character, and
// the cut is behind the quote, so that the field keeps it: callers strip it themselves.
char* cut_quoted_field(char* content) {
  if (*content == '\0') {
    return content;
  }
  char* const closing = std::strchr(content + 1, '"');
  if (closing == nullptr) {
    return content;
  }
  if (closing[1] == '\0') {
    return closing + 1;
  }
  closing[1] = '\0';
  return closing + 2;
}

}  // namespace

int get_tokens(char* read_buf, char** fields, char* token, int max_flds) {
  if (read_buf == nullptr) {
    return 0;
  }
  const char* const delimiters = token != nullptr ? token : "";
  char* position = nullptr;
  char* start = read_buf;
  return store_fields(fields, max_flds, [&] {
    char* const field = strtok_r(start, delimiters, &position);
    start = nullptr;
    return field;
  });
}

int get_tokens_with_multi_delimiter(char* read_buf, char** fields, char* token, int max_flds) {
  return get_tokens(read_buf, fields, token, max_flds);
}

int get_tokens_ex2(char* read_buf, char** fields, char* token, int max_flds) {
  if (read_buf == nullptr) {
    return 0;
  }
  char* start = read_buf;
  return store_fields(fields, max_flds, [&] {
    char* const field = wz_strtok(start, token);
    start = nullptr;
    return field;
  });
}

// After a quoted field, scanning for the delimiter resumes behind the cut: the field that follows
// is passed over without being stored. Of a delimiter that is longer than one character only the
// first is skipped unless the delimiter repeats at the second. Callers rely on both.
int wzlb_get_tokens(char* read_buf, char** fields, char* token, int max_flds) {
  char* position = read_buf;
  return store_fields(fields, max_flds, [&]() -> char* {
    if (position == nullptr) {
      return nullptr;
    }
    char* field = position;
    if (*field == '"') {
      ++field;
      position = cut_quoted_field(field);
    }
    position = find_delimiter(position, token);
    if (position != nullptr) {
      *position++ = '\0';
      const std::size_t length = std::strlen(token);
      while (std::strncmp(position, token, length) == 0) {
        position += length;
      }
    }
    return field;
  });
}

int get_tokens_ex(char* read_buf, char** fields, char* token, int max_flds) {
  return wzlb_get_tokens(read_buf, fields, token, max_flds);
}

int wzlb_get_token_count(char* in, char token) {
  if (in == nullptr || *in == '\0') {
    return -1;
  }
  int count = 0;
  for (; *in != '\0'; ++in) {
    count += *in == token ? 1 : 0;
  }
  return count;
}

char* wz_strtok(char* str, const char* delim) {
  char* const start = str != nullptr ? str : saved_position;
  saved_position = nullptr;
  if (start == nullptr || *start == '\0') {
    return start;
  }
  if (char* const found = find_delimiter(start, delim)) {
    *found = '\0';
    saved_position = found + std::strlen(delim);
  }
  return start;
}
