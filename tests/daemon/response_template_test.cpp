#include "daemon/service/response_template.h"

#include <gtest/gtest.h>

#include <map>

namespace vsd {
namespace {

std::optional<VariableTarget> resolve(std::string_view name) {
  static const std::map<std::string_view, VariableTarget> variables = {
      {"order_id", {VSD_SEARCH_VAR, 0}},
      {"items", {SCRATCH_VAR, 1}},
      {"today", {VSD_DATE_VAR, 2}},
      {"stock", {VSD_INDEX_VAR, 3}},
      {"method", {SYS_VAR_HTTP_METHOD_TYPE, 4}},
      {"steady", {VSD_DATE_VAR, 7, Steadiness::second}},
      {"kept", {VSD_RANDOM_NUMBER_VAR, 8, Steadiness::session}},
      {"number", {VSD_UNIQUE_NUMBER_VAR, 9}},
      {"items_2", {VSD_QUERY_VAR, 5}},
      {"gone", {8, 6}}};
  const auto found = variables.find(name);
  return found == variables.end() ? std::nullopt : std::optional(found->second);
}

// The pieces as text: literals as they are, v<slot>, e<slot>.<element> and r<text> in angle
// brackets.
std::string describe(std::string_view text) {
  std::string description;
  std::size_t expected_offset = 0;
  for (const TemplatePiece& piece : compile_template(text, resolve)) {
    EXPECT_EQ(piece.offset, expected_offset) << text;  // nothing lost, nothing twice
    expected_offset = piece.offset + piece.length;
    const std::string_view source = text.substr(piece.offset, piece.length);
    const std::string slot = std::to_string(piece.slot);
    if (piece.kind == PieceKind::literal) {
      description += source;
    } else if (piece.kind == PieceKind::value) {
      description += "<v" + slot + ">";
    } else if (piece.kind == PieceKind::element) {
      description += "<e" + slot + "." + std::to_string(piece.element) + ">";
    } else {
      description += piece.kind == PieceKind::steady    ? "<s"
                     : piece.kind == PieceKind::session ? "<c"
                                                        : "<r";
      description.append(source).append(">");
    }
  }
  EXPECT_EQ(expected_offset, text.size()) << text;
  return description;
}

TEST(ResponseTemplate, InnermostBracesOfKnownVariablesAreReferences) {
  const struct {
    std::string text;
    std::string pieces;
  } cases[] = {
      {"no braces", "no braces"},
      {"a{order_id}{order_id}b", "a<v0><v0>b"},
      {"{{{order_id}", "{{<v0>"},
      {R"({"a":{"b":[{"c":"{order_id}"}]}})", R"({"a":{"b":[{"c":"<v0>"}]}})"},
      {"}{order_id", "}{order_id"},
      {"{}{order_id}", "{}<v0>"},
      {"{order_id more}{order_id,x}{order_id\tx}", "<v0><v0><v0>"},
      {"{ order_id}{Order_id}", "{ order_id}{Order_id}"},
      {"{today}{today,%Y-%m-%d}", "<r{today}><r{today,%Y-%m-%d}>"},
      {"{steady}{steady,%H}{steady,%S.%MS}{steady,%ms}",
       "<s{steady}><s{steady,%H}><r{steady,%S.%MS}><r{steady,%ms}>"},
      {"{kept}{kept,%MS}{number}{kept_1}", "<c{kept}><c{kept,%MS}><r{number}>{kept_1}"},
      {"{stock}{method}", "<r{stock}><r{method}>"},
      {"{items}{items_1}{items_03}{items_2}", "<v1><e1.1><e1.3><v5>"},
      {"{items_count}{items_COUNT}{order_id_count}",
       "<r{items_count}><r{items_COUNT}><r{order_id_count}>"},
      {"{items_0}{items_}{items_x}{items_-1}{_1}", "{items_0}{items_}{items_x}{items_-1}{_1}"},
      {"{items_4294967297}{items_2147483648}", "{items_4294967297}{items_2147483648}"},
      {"{stock_1}{today_count}{gone_1}{gone}", "{stock_1}{today_count}{gone_1}<v6>"},
      {std::string("{today,\0}{order_id\0}\0", 22), std::string("{today,\0}{order_id\0}\0", 22)},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(describe(test.text), test.pieces) << test.text;
  }
  const std::string long_name(1024, 'n');
  const auto any = [](std::string_view) { return std::optional<VariableTarget>{{SCRATCH_VAR, 0}}; };
  EXPECT_EQ(compile_template("{" + long_name + "}", any).front().kind, PieceKind::literal);
  EXPECT_EQ(compile_template("{" + long_name.substr(1) + "}", any).front().kind, PieceKind::value);
}

}  // namespace
}  // namespace vsd
