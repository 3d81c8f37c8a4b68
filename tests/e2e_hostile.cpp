#include "e2e_hostile.h"

#include <cctype>

#include "irext.hh"

namespace hostile {

void create(CORBA::Repository_ptr repo) {
  CORBA::ModuleDef_var m =
      repo->create_module(kModuleId, kModuleName, kVersion);
  IRExt::Contained_var ext = IRExt::Contained::_narrow(m);
  ext->ext_set_comment(kComment);
  CORBA::InterfaceDefSeq no_bases;
  CORBA::InterfaceDef_var i =
      m->create_interface(kInterfaceId, "I", "1.0", no_bases);
  CORBA::PrimitiveDef_var void_type = repo->get_primitive(CORBA::pk_void);
  CORBA::ParDescriptionSeq no_params;
  CORBA::ExceptionDefSeq no_exceptions;
  CORBA::ContextIdSeq no_contexts;
  CORBA::OperationDef_var op = i->create_operation(
      "IDL:x/I/op:1.0", kOperation, "1.0", void_type, CORBA::OP_NORMAL,
      no_params, no_exceptions, no_contexts);
  CORBA::PrimitiveDef_var string_type = repo->get_primitive(CORBA::pk_string);
  CORBA::Any value;
  value <<= kConstantValue;
  CORBA::ConstantDef_var c =
      m->create_constant("IDL:x/C:1.0", kConstant, "1.0", string_type, value);
}

std::string encode(const std::string& text) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c))
      out += static_cast<char>(c);
    else
      out += std::string("%") + kHex[c >> 4] + kHex[c & 15];
  }
  return out;
}

std::vector<std::string> pages() {
  std::string module = "/browse/" + encode(kModuleName);
  return {"/",
          "/browse/",
          module,
          module + "/I",
          module + "/I/" + encode(kOperation),
          module + "/" + encode(kConstant),
          "/search?q=*",
          "/search?q=" + encode(kModuleName)};
}

}  // namespace hostile
