// The text of `irctl describe`: a DefinitionView as "field: value" lines,
// lists indented below their field.
#ifndef IR_TOOLS_DESCRIBE_TEXT_H
#define IR_TOOLS_DESCRIBE_TEXT_H

#include <string>

#include "client/definition_view.h"

std::string describe_text(const DefinitionView& view);

// "::A::B", or the id with "(not in the repository)" for a dangling one.
std::string ref_text(const DefinitionRef& ref);
// The declaration of `name` with `type`: "sequence<::A::B> name[2]".
std::string declarator_text(const TypeView& type, const std::string& name);
// "void op(in long a) raises (::X)", with "oneway" and contexts.
std::string operation_text(const OperationView& op);
// "readonly attribute ::A::T name".
std::string attribute_text(const AttributeView& attr);

#endif
