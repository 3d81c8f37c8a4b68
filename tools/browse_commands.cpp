// irctl ls, describe, idl, find, refs, children: reading the repository.
#include <iomanip>
#include <sstream>

#include "client/corba_text.h"
#include "client/definition_json.h"
#include "client/description_fields.h"
#include "client/idl_printer.h"
#include "client/repository_tree.h"
#include "client/type_text.h"
#include "command_line.h"
#include "commands.h"
#include "describe_text.h"

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
  ParsedArgs parsed = parse_args(args, {{"-o", true}});
  if (parsed.positional.empty()) throw UsageError("give a NAME or ID");
  std::string format = parsed.has("-o") ? parsed.value("-o") : "text";
  if (format != "text" && format != "json")
    throw UsageError("-o takes text or json");
  DefinitionReader reader(ctx.session.orb(), ctx.session.repo());
  nlohmann::json docs = nlohmann::json::array();
  int status = 0;
  bool first = true;
  for (const std::string& name : parsed.positional) {
    CORBA::Contained_var c = named_definition(ctx, name);
    if (CORBA::is_nil(c)) {
      status = 1;
      continue;
    }
    DefinitionView view = reader.read(c);
    if (format == "json") {
      docs.push_back(definition_json(view));
      continue;
    }
    if (!first) ctx.out << "\n";
    first = false;
    ctx.out << describe_text(view);
  }
  if (format == "json")
    ctx.out << nlohmann::json{{"definitions", docs}}.dump(2) << "\n";
  ctx.out << std::flush;
  return status;
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
