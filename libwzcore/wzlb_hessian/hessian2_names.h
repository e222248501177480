// Element names of Hessian 2 documents, by what they stand for on the wire.
#pragma once

#include <string_view>

namespace wz::hessian::name {

inline constexpr std::string_view kNull = "null";
inline constexpr std::string_view kBoolean = "boolean";
inline constexpr std::string_view kInt = "int";
inline constexpr std::string_view kLong = "long";
inline constexpr std::string_view kDouble = "double";
inline constexpr std::string_view kDate = "date";
inline constexpr std::string_view kString = "string";
inline constexpr std::string_view kXml = "xml";
inline constexpr std::string_view kBinary = "base64";
inline constexpr std::string_view kRef = "ref";
inline constexpr std::string_view kMap = "map";
inline constexpr std::string_view kTypedMap = "typed_map";
inline constexpr std::string_view kVarTypedList = "var_typed_list";
inline constexpr std::string_view kFixedTypedList = "fixed_typed_list";
inline constexpr std::string_view kVarUntypedList = "var_untyped_list";
inline constexpr std::string_view kFixedUntypedList = "fixed_untyped_list";
inline constexpr std::string_view kFixedTypedLength = "fixed_typed_list_length";
inline constexpr std::string_view kCompactTypedLength = "compact_fixed_typed_list_length";
inline constexpr std::string_view kFixedUntypedLength = "fixed_untyped_list_length";
inline constexpr std::string_view kCompactUntypedLength = "compact_fixed_untyped_list_length";
inline constexpr std::string_view kTypeName = "Type";
inline constexpr std::string_view kTypeRef = "type_ref";
inline constexpr std::string_view kClassDefinition = "obj_defn";
inline constexpr std::string_view kClassName = "obj_defn_type";
inline constexpr std::string_view kObject = "obj_instance";
inline constexpr std::string_view kClassRef = "obj_ref";

inline constexpr std::string_view kHessianVersion = "hessian_version";
inline constexpr std::string_view kVersion = "ver";
inline constexpr std::string_view kCall2 = "call_2.0";
inline constexpr std::string_view kReply2 = "reply_2.0";
inline constexpr std::string_view kFault = "fault";
inline constexpr std::string_view kEnvelope = "envelope";
inline constexpr std::string_view kPacket = "packet";
inline constexpr std::string_view kHeader = "header";
inline constexpr std::string_view kMethod = "method";
inline constexpr std::string_view kArgumentCount = "number_of_args";

// Hessian 1 frames and the draft.
inline constexpr std::string_view kCall1 = "call_1.0";
inline constexpr std::string_view kReply1 = "reply_1.0";
inline constexpr std::string_view kList = "list";
inline constexpr std::string_view kType = "type";
inline constexpr std::string_view kLength = "length";
inline constexpr std::string_view kRemote = "remote";
inline constexpr std::string_view kDraftList = "ref_typed_list";
inline constexpr std::string_view kDraftListType = "ref_typed_list_type";
inline constexpr std::string_view kDraftListLength = "ref_typed_list_length";

}  // namespace wz::hessian::name
