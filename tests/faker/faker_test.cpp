#include <gtest/gtest.h>
#include <wz/wzlb_faker.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <ctime>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

std::string value_of(const std::string& text) {
  const char* value = wzlb_faker_get_by_id(wzlb_faker_class_to_id(text.c_str()), nullptr);
  return value != nullptr ? value : "(null)";
}

bool is_utf8(const std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto lead = static_cast<unsigned char>(text[i]);
    const int more = lead < 0x80 ? 0 : lead >= 0xf0 ? 3 : lead >= 0xe0 ? 2 : lead >= 0xc2 ? 1 : -1;
    for (int j = 0; j < more; ++j) {
      if (++i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xc0) != 0x80) {
        return false;
      }
    }
    if (more < 0 || lead < 0x20) {
      return false;
    }
  }
  return true;
}

TEST(Faker, EveryClassMakesValues) {
  const int count = wzlb_faker_class_count();
  EXPECT_GE(count, 60);
  std::set<std::string> names;
  for (int id = 0; id < count; ++id) {
    WzFakerClass known{};
    ASSERT_EQ(wzlb_faker_describe_class(id, &known), 0);
    SCOPED_TRACE(known.name);
    EXPECT_TRUE(names.insert(known.name).second);
    EXPECT_TRUE(std::regex_match(known.name, std::regex("[a-z]+\\.[a-z0-9_]+")));
    EXPECT_STRNE(known.description, "");
    EXPECT_EQ(wzlb_faker_class_to_id(known.name), id);
    const bool has_locale = std::string(known.arguments).find("locale=") != std::string::npos;
    std::set<std::string> values;
    for (const char* locale : {"en", "de_AT", "fr-CH", "es", "it"}) {
      for (int i = 0; i < 40; ++i) {
        const char* value = wzlb_faker_get_by_id(
            id, has_locale ? ("locale=" + std::string(locale)).c_str() : nullptr);
        ASSERT_NE(value, nullptr);
        EXPECT_FALSE(*value == '\0' || !is_utf8(value)) << value;
        values.insert(value);
      }
    }
    EXPECT_GE(values.size(), 2U);
  }
  WzFakerClass none{};
  EXPECT_EQ(wzlb_faker_describe_class(count, &none), -1);
}

// What the values of a class look like, all of them.
TEST(Faker, ValuesHaveTheirForm) {
  struct Form {
    const char* text;
    const char* form;
  };
  const Form forms[] = {
      {"person.name;gender=female", "[A-Z][a-z]+ [A-Z][a-z]+"},
      {"person.prefix;locale=it;gender=male", "Sig\\.|Dott\\."},
      {"person.age;min=30;max=31", "30|31"},
      {"address.full", "[^,]+, [^,]+, [A-Z]{2} \\d{5}"},
      {"address.full;locale=de", "[^,]+ \\w+, [1-9]\\d{4} [^\\d]+"},
      {"address.state_code;locale=de", "[A-Z]{2}"},
      {"address.country_code3", "[A-Z]{3}"},
      {"address.time_zone", "[A-Z][A-Za-z]+/[A-Za-z_/-]+"},
      {"address.airport_code", "[A-Z]{3}"},
      {"address.latitude;min=48;max=49;digits=3", "48\\.\\d{3}|49\\.000"},
      {"phone.number", "(\\(\\d{3}\\) |\\d{3}-)555-01\\d\\d"},
      {"internet.email;locale=fr", "[a-z.]+\\d{0,2}@example\\.(com|net|org)"},
      {"internet.url",
       "https?://[a-z]+\\.[a-z-]+\\.(example|test)(\\.[a-z]+)?/[a-z-]+|"
       "https?://[a-z]+\\.[a-z-]+\\.example\\.(com|net|org)/[a-z-]+"},
      {"internet.ipv4;kind=private", "(10\\.\\d+|192\\.168)\\.\\d+\\.\\d+"},
      {"internet.ipv4;kind=documentation", "(192\\.0\\.2|198\\.51\\.100|203\\.0\\.113)\\.\\d+"},
      {"internet.ipv6", "2001:0db8(:[0-9a-f]{4}){6}"},
      {"internet.mac", "02(:[0-9a-f]{2}){5}"},
      {"internet.user_agent", "(Mozilla/5\\.0 \\(|curl/8\\.\\d).*"},
      {"internet.password;min=8;max=9", "[^ ]{8,9}"},
      {"finance.bic", "[A-Z]{8}(XXX)?"},
      {"finance.amount;min=5;max=6;digits=1", "[56]\\.\\d"},
      {"finance.currency_code", "[A-Z]{3}"},
      {"finance.card_code;brand=amex", "\\d{4}"},
      {"id.uuid", "[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}"},
      {"id.hex;length=7", "[0-9a-f]{7}"},
      {"software.version", "\\d\\.\\d{1,2}\\.\\d{1,2}"},
      {"file.path", "(/\\w+)+/[a-z]+_[a-z]+\\.[a-z0-9]+"},
      {"file.mime_type", "[a-z]+/[a-z0-9+-]+"},
      {"color.hex", "#[0-9a-f]{6}"},
      {"date.date;min=2024;max=2024;format=%d.%m.%Y", "\\d\\d\\.\\d\\d\\.2024"},
      {"date.timestamp;min=1;max=1", "(0001|1)-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ"},
      {"date.unix;min=1970;max=1970", "\\d{1,8}"},
      {"lorem.words;count=2", "[a-z]+ [a-z]+"},
      {"lorem.sentence;min=2;max=2", "[A-Z][a-z]+ [a-z]+\\."},
      {"text.pattern;format=?-%#", "[A-Z]-[1-9]\\d"},
      {"text.one_of;values=x|y", "x|y"},
      {"number.integer;min=-2;max=1", "-2|-1|0|1"},
      {"number.digits;length=40", "\\d{40}"},
  };
  for (const Form& c : forms) {
    const std::regex form(c.form);
    for (int i = 0; i < 50; ++i) {
      const std::string value = value_of(c.text);
      EXPECT_TRUE(std::regex_match(value, form)) << c.text << ": " << value;
    }
  }
}

// The checks of the outside world, written the slow way.
bool passes_luhn(const std::string& digits) {
  int sum = 0;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    const int value = (digits[digits.size() - 1 - i] - '0') * (i % 2 == 0 ? 1 : 2);
    sum += value / 10 + value % 10;
  }
  return sum % 10 == 0;
}

bool passes_ean(const std::string& digits) {
  int sum = 0;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    sum += (digits[digits.size() - 1 - i] - '0') * (i % 2 == 0 ? 1 : 3);
  }
  return sum % 10 == 0;
}

bool passes_isbn10(const std::string& digits) {
  int sum = 0;
  for (int i = 0; i < 10; ++i) {
    sum += (10 - i) * (digits[static_cast<std::size_t>(i)] == 'X'
                           ? 10
                           : digits[static_cast<std::size_t>(i)] - '0');
  }
  return sum % 11 == 0;
}

bool passes_iban(const std::string& iban) {
  int rest = 0;
  for (const char c : iban.substr(4) + iban.substr(0, 4)) {
    const std::string number = c >= 'A' ? std::to_string(c - 'A' + 10) : std::string(1, c);
    for (const char digit : number) {
      rest = (rest * 10 + digit - '0') % 97;
    }
  }
  return rest == 1;
}

TEST(Faker, NumbersPassTheirChecks) {
  ASSERT_TRUE(passes_iban("DE89370400440532013000") && passes_luhn("4111111111111111") &&
              passes_ean("4006381333931") && passes_isbn10("097522980X"));
  for (int i = 0; i < 300; ++i) {
    EXPECT_TRUE(passes_iban(value_of("finance.iban")));
    EXPECT_EQ(value_of("finance.iban;country=DE").size(), 22U);
    const std::string belgian = value_of("finance.iban;country=BE").substr(4);
    EXPECT_EQ(std::stoull(belgian.substr(0, 10)) % 97 % 97, std::stoull(belgian.substr(10)) % 97);
    EXPECT_TRUE(passes_luhn(value_of("finance.credit_card")));
    EXPECT_EQ(value_of("finance.credit_card;brand=amex").size(), 15U);
    EXPECT_TRUE(passes_luhn(value_of("id.imei")));
    EXPECT_TRUE(passes_ean(value_of("id.ean13")) && passes_ean(value_of("id.ean8")) &&
                passes_ean(value_of("id.isbn13")));
    EXPECT_TRUE(passes_isbn10(value_of("id.isbn10")));
  }
}

TEST(Faker, LocalesDiffer) {
  const auto values = [](const std::string& text) {
    std::set<std::string> all;
    for (int i = 0; i < 3000; ++i) {
      all.insert(value_of(text));
    }
    return all;
  };
  for (const char* name : {"person.family_name", "address.city", "address.state", "date.month",
                           "company.suffix", "text.word"}) {
    std::vector<std::set<std::string>> seen;
    for (const char* locale : {"en", "de", "fr", "es", "it"}) {
      seen.push_back(values(std::string(name) + ";locale=" + locale));
    }
    for (std::size_t i = 1; i < seen.size(); ++i) {
      EXPECT_NE(seen[i], seen[0]) << name;
    }
  }
  EXPECT_EQ(values("date.weekday;locale=de"),
            (std::set<std::string>{"Montag", "Dienstag", "Mittwoch", "Donnerstag", "Freitag",
                                   "Samstag", "Sonntag"}));
  EXPECT_TRUE(values("address.state;locale=es").contains("Comunidad de Madrid"));
}

TEST(Faker, SeedsRepeatValues) {
  const auto run = [] {
    std::string all;
    for (const char* text :
         {"person.name", "internet.url", "finance.iban", "text.words;locale=fr"}) {
      all += value_of(text) + '\n';
    }
    return all;
  };
  wzlb_faker_seed(42);
  const std::string first = run();
  EXPECT_NE(run(), first);
  wzlb_faker_seed(42);
  EXPECT_EQ(run(), first);
}

TEST(Faker, RefusesWhatItDoesNotKnow) {
  for (const char* text :
       {"", "person", "person.names", "Person.name", ";", "person.name;locale", "person.name;=de",
        "person.name;locale=xx", "person.name;min=1", "person.name;gender=", "number.integer;min=x",
        "number.integer;min=1.5", "number.integer;min=5;max=4", "number.integer;min=nan",
        "number.integer;min=1e300", "number.digits;length=0",
        "text.one_of;values=", "person.initials;locale=en"}) {
    EXPECT_EQ(wzlb_faker_class_to_id(text), -1) << text;
  }
  EXPECT_EQ(wzlb_faker_class_to_id(nullptr), -1);
  EXPECT_EQ(wzlb_faker_get_by_id(-1, nullptr), nullptr);
  EXPECT_EQ(wzlb_faker_get_by_id(1 << 20, nullptr), nullptr);

  const int plain = wzlb_faker_class_to_id("number.integer");
  EXPECT_STREQ(wzlb_faker_get_by_id(plain, " min = 7 ;; max = 7 "), "7");
  EXPECT_EQ(wzlb_faker_get_by_id(plain, "min=9;max=7"), nullptr);
  EXPECT_NE(wzlb_faker_get_by_id(plain, reinterpret_cast<const char*>(UINTPTR_MAX)), nullptr);
  const int declared = wzlb_faker_class_to_id("number.integer;min=7;max=7");
  EXPECT_EQ(wzlb_faker_class_to_id("number.integer;min=7;max=7"), declared);
  EXPECT_STREQ(wzlb_faker_get_by_id(declared, reinterpret_cast<const char*>(1)), "7");
}

TEST(Faker, DatesLieWhereTheyShould) {
  std::array<char, 16> today{};
  const std::time_t now = std::time(nullptr);
  std::strftime(today.data(), today.size(), "%Y-%m-%d", std::gmtime(&now));
  const int year = std::stoi(today.data());
  for (int i = 0; i < 200; ++i) {
    EXPECT_LE(value_of("date.past;days=10"), std::string(today.data()));
    EXPECT_GE(value_of("date.future;days=10"), std::string(today.data()));
    const int born = std::stoi(value_of("date.birth;min=20;max=21"));
    EXPECT_TRUE(born >= year - 22 && born <= year - 20);
  }
}

}  // namespace
