// irctl ls, describe, idl, find, refs, children: reading the repository.
#include <iomanip>
#include <sstream>

#include "command_line.h"
#include "commands.h"
#include "client/corba_text.h"
#include "client/description_fields.h"
#include "client/idl_printer.h"
#include "client/repository_tree.h"
#include "client/type_text.h"

namespace {

// The definition named by the only positional argument; prints the
// error and returns nil when there is none.
CORBA::Contained_ptr named_definition(CommandContext& ctx,
                                      const std::string& name) {
  CORBA::Contained_var c = ctx.session.find(name);
  if (CORBA::is_nil(c))
    ctx.err << "irctl: " << name << ": no such definition" << std::endl;
  return c._retn();
}

std::string one_name(const ParsedArgs& parsed, const char* what) {
  if (parsed.positional.size() != 1)
    throw UsageError(std::string("give exactly one ") + what);
  return parsed.positional[0];
}

// "Interface  ::A::B  IDL:A/B:1.0": one line per definition of a list.
void print_definitions(CommandContext& ctx, const CORBA::ContainedSeq& seq) {
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    CORBA::Contained::Description_var d = seq[i]->describe();
    DescriptionFields f = description_fields(d->kind, d->value);
    CORBA::String_var abs = seq[i]->absolute_name();
    ctx.out << std::left << std::setw(18) << kind_name(d->kind) << abs.in()
            << "  " << f.id << std::endl;
  }
}

TypeNamer simple_names() {
  return [](CORBA::TypeCode_ptr tc) { return std::string(tc->name()); };
}

std::string operation_text(const CORBA::OperationDescription& op) {
  TypeNamer names = simple_names();
  std::string text = op.mode == CORBA::OP_ONEWAY ? "oneway " : "";
  text += type_idl(op.result.in(), names) + " " + op.name.in() + "(";
  static const char* const kModes[] = {"in ", "out ", "inout "};
  for (CORBA::ULong i = 0; i < op.parameters.length(); ++i)
    text += std::string(i ? ", " : "") + kModes[op.parameters[i].mode] +
            declarator_idl(op.parameters[i].type.in(),
                           op.parameters[i].name.in(), names);
  text += ")";
  for (CORBA::ULong i = 0; i < op.exceptions.length(); ++i)
    text += std::string(i ? ", " : " raises (") + op.exceptions[i].id.in() +
            (i + 1 == op.exceptions.length() ? ")" : "");
  for (CORBA::ULong i = 0; i < op.contexts.length(); ++i)
    text += std::string(i ? ", \"" : " context (\"") + op.contexts[i].in() +
            "\"" + (i + 1 == op.contexts.length() ? ")" : "");
  return text;
}

std::string attribute_text(const CORBA::AttributeDescription& a) {
  return std::string(a.mode == CORBA::ATTR_READONLY ? "readonly " : "") +
         "attribute " +
         declarator_idl(a.type.in(), a.name.in(), simple_names());
}

void print_ids(std::ostream& out, const char* label,
               const CORBA::RepositoryIdSeq& ids) {
  out << label << ":";
  if (ids.length() == 0) out << " (none)";
  for (CORBA::ULong i = 0; i < ids.length(); ++i) out << " " << ids[i].in();
  out << std::endl;
}

void list_container(CommandContext& ctx, CORBA::Container_ptr c,
                    const std::string& scoped, bool long_form, bool recursive,
                    bool heading) {
  CORBA::Container::DescriptionSeq_var all =
      c->describe_contents(CORBA::dk_all, true, -1);
  if (heading)
    ctx.out << (scoped == "::" ? "(the repository)" : scoped) << ":"
            << std::endl;
  std::vector<std::pair<std::string, CORBA::Container_var>> inner;
  for (CORBA::ULong i = 0; i < all->length(); ++i) {
    DescriptionFields f = description_fields(all[i].kind, all[i].value);
    ctx.out << std::left << std::setw(18) << kind_name(all[i].kind) << f.name;
    if (long_form) ctx.out << "  " << f.id << "  " << f.version;
    ctx.out << std::endl;
    if (recursive && is_container_kind(all[i].kind))
      inner.emplace_back(
          (scoped == "::" ? "" : scoped) + "::" + f.name,
          CORBA::Container::_unchecked_narrow(all[i].contained_object));
  }
  for (auto& in : inner) {
    ctx.out << std::endl;
    list_container(ctx, in.second, in.first, long_form, recursive, true);
  }
}

}  // namespace

int ls_command(CommandContext& ctx, const Args& args) {
  ParsedArgs parsed = parse_args(args, {{"-l", false}, {"-R", false}});
  if (parsed.positional.size() > 1)
    throw UsageError("give at most one container");
  CORBA::Container_var container;
  std::string scoped = "::";
  if (parsed.positional.empty()) {
    container = CORBA::Container::_duplicate(ctx.session.repo());
  } else {
    CORBA::Contained_var c = named_definition(ctx, parsed.positional[0]);
    if (CORBA::is_nil(c)) return 1;
    CORBA::DefinitionKind kind = c->def_kind();
    CORBA::String_var abs = c->absolute_name();
    if (!is_container_kind(kind)) {
      ctx.err << "irctl: " << abs.in() << " is " << kind_name(kind)
              << ", not a container" << std::endl;
      return 1;
    }
    scoped = abs.in();
    container = CORBA::Container::_unchecked_narrow(c);
  }
  bool recursive = parsed.has("-R");
  list_container(ctx, container, scoped, parsed.has("-l"), recursive,
                 recursive);
  return 0;
}

int describe_command(CommandContext& ctx, const Args& args) {
  ParsedArgs parsed = parse_args(args, {});
  CORBA::Contained_var c =
      named_definition(ctx, one_name(parsed, "NAME or ID"));
  if (CORBA::is_nil(c)) return 1;
  CORBA::Contained::Description_var d = c->describe();
  DescriptionFields f = description_fields(d->kind, d->value);
  CORBA::String_var abs = c->absolute_name();
  AnyCodec codec(ctx.session.orb());
  std::ostream& out = ctx.out;
  out << "kind: " << kind_name(d->kind) << "\n"
      << "name: " << f.name << "\n"
      << "scoped name: " << abs.in() << "\n"
      << "id: " << f.id << "\n"
      << "version: " << f.version << "\n"
      << "defined in: "
      << (f.defined_in.empty() ? "(the repository)" : f.defined_in) << "\n";
  auto literal = [&](const CORBA::Any& a) {
    return codec.literal(
        a, [](CORBA::TypeCode_ptr, const char* e) { return std::string(e); });
  };
  switch (d->kind) {
    case CORBA::dk_Interface:
    case CORBA::dk_AbstractInterface: {
      CORBA::InterfaceDef_var iface = CORBA::InterfaceDef::_unchecked_narrow(c);
      CORBA::InterfaceDef::FullInterfaceDescription_var full =
          iface->describe_interface();
      out << "type: " << typecode_text(full->type.in(), codec) << "\n";
      print_ids(out, "base interfaces", full->base_interfaces);
      out << "operations:" << (full->operations.length() ? "" : " (none)")
          << "\n";
      for (CORBA::ULong i = 0; i < full->operations.length(); ++i)
        out << "  " << operation_text(full->operations[i]) << "\n";
      out << "attributes:" << (full->attributes.length() ? "" : " (none)")
          << "\n";
      for (CORBA::ULong i = 0; i < full->attributes.length(); ++i)
        out << "  " << attribute_text(full->attributes[i]) << "\n";
      break;
    }
    case CORBA::dk_Value: {
      CORBA::ValueDef_var value = CORBA::ValueDef::_unchecked_narrow(c);
      CORBA::ValueDef::FullValueDescription_var full = value->describe_value();
      out << "type: " << typecode_text(full->type.in(), codec) << "\n"
          << "abstract: " << (full->is_abstract ? "yes" : "no") << "\n"
          << "custom: " << (full->is_custom ? "yes" : "no") << "\n"
          << "truncatable: " << (full->is_truncatable ? "yes" : "no") << "\n"
          << "base value: "
          << (full->base_value.in()[0] ? full->base_value.in() : "(none)")
          << "\n";
      print_ids(out, "abstract base values", full->abstract_base_values);
      print_ids(out, "supported interfaces", full->supported_interfaces);
      out << "members:" << (full->members.length() ? "" : " (none)") << "\n";
      for (CORBA::ULong i = 0; i < full->members.length(); ++i)
        out << "  "
            << (full->members[i].access == CORBA::PUBLIC_MEMBER ? "public "
                                                                : "private ")
            << declarator_idl(full->members[i].type.in(),
                              full->members[i].name.in(), simple_names())
            << "\n";
      out << "initializers:" << (full->initializers.length() ? "" : " (none)")
          << "\n";
      for (CORBA::ULong i = 0; i < full->initializers.length(); ++i) {
        const CORBA::Initializer& init = full->initializers[i];
        out << "  factory " << init.name.in() << "(";
        for (CORBA::ULong j = 0; j < init.members.length(); ++j)
          out << (j ? ", " : "") << "in "
              << declarator_idl(init.members[j].type.in(),
                                init.members[j].name.in(), simple_names());
        out << ")\n";
      }
      out << "operations:" << (full->operations.length() ? "" : " (none)")
          << "\n";
      for (CORBA::ULong i = 0; i < full->operations.length(); ++i)
        out << "  " << operation_text(full->operations[i]) << "\n";
      out << "attributes:" << (full->attributes.length() ? "" : " (none)")
          << "\n";
      for (CORBA::ULong i = 0; i < full->attributes.length(); ++i)
        out << "  " << attribute_text(full->attributes[i]) << "\n";
      break;
    }
    case CORBA::dk_Exception: {
      const CORBA::ExceptionDescription* e = nullptr;
      if (d->value >>= e)
        out << "type: " << typecode_text(e->type.in(), codec) << "\n";
      break;
    }
    case CORBA::dk_Constant: {
      const CORBA::ConstantDescription* k = nullptr;
      if (d->value >>= k)
        out << "type: " << type_idl(k->type.in(), simple_names()) << "\n"
            << "value: " << literal(k->value) << "\n";
      break;
    }
    case CORBA::dk_Operation: {
      const CORBA::OperationDescription* op = nullptr;
      if (d->value >>= op) out << "operation: " << operation_text(*op) << "\n";
      break;
    }
    case CORBA::dk_Attribute: {
      const CORBA::AttributeDescription* a = nullptr;
      if (d->value >>= a) out << "attribute: " << attribute_text(*a) << "\n";
      break;
    }
    case CORBA::dk_ValueMember: {
      const CORBA::ValueMember* m = nullptr;
      if (d->value >>= m)
        out << "member: "
            << (m->access == CORBA::PUBLIC_MEMBER ? "public " : "private ")
            << declarator_idl(m->type.in(), m->name.in(), simple_names())
            << "\n";
      break;
    }
    case CORBA::dk_Module:
      break;
    default: {
      const CORBA::TypeDescription* t = nullptr;
      if (d->value >>= t)
        out << "type: " << typecode_text(t->type.in(), codec) << "\n";
      break;
    }
  }
  out << std::flush;
  return 0;
}

int idl_command(CommandContext& ctx, const Args& args) {
  ParsedArgs parsed = parse_args(args, {});
  if (parsed.positional.size() > 1)
    throw UsageError("give at most one definition");
  CORBA::Contained_var start;
  if (!parsed.positional.empty()) {
    start = named_definition(ctx, parsed.positional[0]);
    if (CORBA::is_nil(start)) return 1;
  }
  RepositoryTree tree(ctx.session, start);
  AnyCodec codec(ctx.session.orb());
  ctx.out << print_idl(tree, codec) << std::flush;
  return 0;
}

int find_command(CommandContext& ctx, const Args& args) {
  ParsedArgs parsed =
      parse_args(args, {{"--ids", false}, {"--kind", true}, {"--in", true}});
  std::string pattern = one_name(parsed, "PATTERN");
  std::string kinds;
  for (const std::string& list : parsed.values("--kind")) {
    std::size_t pos = 0;
    while (pos <= list.size()) {
      std::size_t comma = list.find(',', pos);
      if (comma == std::string::npos) comma = list.size();
      std::string word = list.substr(pos, comma - pos);
      CORBA::DefinitionKind kind;
      if (!kind_from_name(word, &kind))
        throw UsageError("unknown kind '" + word + "' in --kind");
      kinds += (kinds.empty() ? "" : ",") + kind_name(kind);
      pos = comma + 1;
    }
  }
  std::string scope;
  if (parsed.has("--in")) {
    CORBA::Contained_var c = named_definition(ctx, parsed.value("--in"));
    if (CORBA::is_nil(c)) return 1;
    CORBA::String_var id = c->id();
    scope = id.in();
  }
  CORBA::ContainedSeq_var found = ctx.session.ext()->ext_find_objects(
      pattern.c_str(), scope.c_str(), parsed.has("--ids"), kinds.c_str());
  print_definitions(ctx, found.in());
  return 0;
}

int refs_command(CommandContext& ctx, const Args& args) {
  ParsedArgs parsed =
      parse_args(args, {{"--uses", false}, {"--derives", false}});
  if (parsed.has("--uses") && parsed.has("--derives"))
    throw UsageError("--uses and --derives exclude each other");
  CORBA::Contained_var c =
      named_definition(ctx, one_name(parsed, "NAME or ID"));
  if (CORBA::is_nil(c)) return 1;
  IRExt::Contained_var ext = IRExt::Contained::_unchecked_narrow(c);
  const char* which = parsed.has("--uses")      ? "uses"
                      : parsed.has("--derives") ? "derives"
                                                : "all";
  CORBA::ContainedSeq_var refs = ext->ext_get_refs_object(which);
  print_definitions(ctx, refs.in());
  return 0;
}

int children_command(CommandContext& ctx, const Args& args) {
  ParsedArgs parsed = parse_args(args, {});
  CORBA::Contained_var c =
      named_definition(ctx, one_name(parsed, "NAME or ID"));
  if (CORBA::is_nil(c)) return 1;
  CORBA::DefinitionKind kind = c->def_kind();
  if (kind != CORBA::dk_Interface && kind != CORBA::dk_AbstractInterface) {
    CORBA::String_var abs = c->absolute_name();
    ctx.err << "irctl: " << abs.in() << " is " << kind_name(kind)
            << ", not an interface" << std::endl;
    return 1;
  }
  IRExt::InterfaceDef_var iface = IRExt::InterfaceDef::_unchecked_narrow(c);
  CORBA::InterfaceDefSeq_var kids = iface->ext_interface_children();
  CORBA::ContainedSeq seq;
  seq.length(kids->length());
  for (CORBA::ULong i = 0; i < kids->length(); ++i)
    seq[i] = CORBA::Contained::_duplicate(kids[i]);
  print_definitions(ctx, seq);
  return 0;
}
