// Words and sentences, from nowhere (lorem) or from a dictionary, and texts after a pattern.
#include "libwzfaker/faker_class.h"

namespace wz::faker {
namespace {

constexpr double kMostWords = 1000;
constexpr Rule kLoremWordsRules[] = {whole(Key::count, 1, kMostWords, 3)};
constexpr Rule kLoremSentenceRules[] = {whole(Key::min, 1, kMostWords, 6),
                                        whole(Key::max, 1, kMostWords, 12)};
constexpr Rule kParagraphRules[] = {whole(Key::count, 1, 100, 4)};
constexpr Rule kWordsRules[] = {whole(Key::count, 1, kMostWords, 3),
                                choice(Key::locale, kLocaleNames, "en")};
constexpr Rule kPatternRules[] = {free_text(Key::format, "??####")};
constexpr Rule kOneOfRules[] = {free_text(Key::values, "yes|no")};

void append_words(Draw& draw, Section section, std::int64_t count) {
  for (std::int64_t i = 0; i < count; ++i) {
    draw.out += i == 0 ? "" : " ";
    append_from(draw, section);
  }
}

template <Section section>
void make_words(Draw& draw) {
  append_words(draw, section, draw.arguments.integer(Key::count));
}

void append_sentence(Draw& draw, std::int64_t words) {
  const std::size_t start = draw.out.size();
  append_words(draw, Section::lorem, words);
  draw.out[start] = static_cast<char>(draw.out[start] & ~0x20);  // the list is ASCII
  draw.out += '.';
}

void make_sentence(Draw& draw) {
  append_sentence(draw, draw.random.between(draw.arguments.integer(Key::min),
                                            draw.arguments.integer(Key::max)));
}

void make_paragraph(Draw& draw) {
  const std::int64_t sentences = draw.arguments.integer(Key::count);
  for (std::int64_t i = 0; i < sentences; ++i) {
    draw.out += i == 0 ? "" : " ";
    append_sentence(draw, draw.random.between(6, 12));
  }
}

void make_pattern(Draw& draw) {
  expand(draw, draw.arguments.text(Key::format));
}

void make_one_of(Draw& draw) {
  const std::string_view values = draw.arguments.text(Key::values);
  std::uint64_t count = 0;
  for_each_part(values, '|', [&count](std::string_view) { return ++count > 0; });
  std::uint64_t chosen = draw.random.below(count);
  for_each_part(values, '|', [&](std::string_view value) {
    if (chosen == 0) {
      draw.out += value;
    }
    return chosen-- > 0;
  });
}

constexpr ClassDefinition kClasses[] = {
    {"lorem.word", "word without a meaning", from_list<Section::lorem>},
    {"lorem.words", "several of them", make_words<Section::lorem>, kLoremWordsRules},
    {"lorem.sentence", "sentence of min to max words", make_sentence, kLoremSentenceRules},
    {"lorem.paragraph", "sentences", make_paragraph, kParagraphRules},
    {"text.word", "word of a dictionary", from_list<Section::word>, kLocaleRule},
    {"text.words", "several of them", make_words<Section::word>, kWordsRules},
    {"text.pattern", "format with # a digit, % a digit above 0, ? a letter", make_pattern,
     kPatternRules},
    {"text.one_of", "one of values between bars", make_one_of, kOneOfRules},
};

}  // namespace

std::span<const ClassDefinition> text_classes() {
  return kClasses;
}

}  // namespace wz::faker
