// Element names of Hessian 2 documents, by what they stand for on the wire.
#pragma once

#include "libwzcore/wzlb_hessian/element_name.h"

namespace wz::hessian::name {

inline constexpr ElementName kNull{"null"};
inline constexpr ElementName kBoolean{"boolean"};
inline constexpr ElementName kInt{"int"};
inline constexpr ElementName kLong{"long"};
inline constexpr ElementName kDouble{"double"};
inline constexpr ElementName kDate{"date"};
inline constexpr ElementName kString{"string"};
inline constexpr ElementName kXml{"xml"};
inline constexpr ElementName kBinary{"base64"};
inline constexpr ElementName kRef{"ref"};
inline constexpr ElementName kMap{"map"};
inline constexpr ElementName kTypedMap{"typed_map"};
inline constexpr ElementName kVarTypedList{"var_typed_list"};
inline constexpr ElementName kFixedTypedList{"fixed_typed_list"};
inline constexpr ElementName kVarUntypedList{"var_untyped_list"};
inline constexpr ElementName kFixedUntypedList{"fixed_untyped_list"};
inline constexpr ElementName kFixedTypedLength{"fixed_typed_list_length"};
inline constexpr ElementName kCompactTypedLength{"compact_fixed_typed_list_length"};
inline constexpr ElementName kFixedUntypedLength{"fixed_untyped_list_length"};
inline constexpr ElementName kCompactUntypedLength{"compact_fixed_untyped_list_length"};
inline constexpr ElementName kTypeName{"Type"};
inline constexpr ElementName kTypeRef{"type_ref"};
inline constexpr ElementName kClassDefinition{"obj_defn"};
inline constexpr ElementName kClassName{"obj_defn_type"};
inline constexpr ElementName kObject{"obj_instance"};
inline constexpr ElementName kClassRef{"obj_ref"};

inline constexpr ElementName kHessianVersion{"hessian_version"};
inline constexpr ElementName kVersion{"ver"};
inline constexpr ElementName kCall2{"call_2.0"};
inline constexpr ElementName kReply2{"reply_2.0"};
inline constexpr ElementName kFault{"fault"};
inline constexpr ElementName kEnvelope{"envelope"};
inline constexpr ElementName kPacket{"packet"};
inline constexpr ElementName kHeader{"header"};
inline constexpr ElementName kMethod{"method"};
inline constexpr ElementName kArgumentCount{"number_of_args"};

// Hessian 1 frames and the draft.
inline constexpr ElementName kCall1{"call_1.0"};
inline constexpr ElementName kReply1{"reply_1.0"};
inline constexpr ElementName kList{"list"};
inline constexpr ElementName kType{"type"};
inline constexpr ElementName kLength{"length"};
inline constexpr ElementName kRemote{"remote"};
inline constexpr ElementName kDraftList{"ref_typed_list"};
inline constexpr ElementName kDraftListType{"ref_typed_list_type"};
inline constexpr ElementName kDraftListLength{"ref_typed_list_length"};

}  // namespace wz::hessian::name
