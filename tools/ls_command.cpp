// irctl ls: the contents of the repository or of a container, as aligned
// columns under a header; with -R every container below, one section per
// container that has contents.
#include <map>

#include "client/corba_text.h"
#include "client/definition_json.h"
#include "client/listing.h"
#include "command_support.h"
#include "commands.h"

namespace {

std::vector<std::string> row_of(const DefinitionSummary& s, bool long_form) {
  std::vector<std::string> row{kind_name(s.kind), s.scoped_name};
  if (long_form) {
    row.push_back(s.id);
    row.push_back(s.version);
  }
  return row;
}

std::vector<std::string> header(bool long_form) {
  std::vector<std::string> row{"KIND", "NAME"};
  if (long_form) {
    row.push_back("ID");
    row.push_back("VERSION");
  }
  return row;
}

}  // namespace

int ls_command(CommandContext& ctx, const LsOptions& o) {
  std::string container_id, container_name = "::";
  if (!o.name.empty()) {
    CORBA::Contained_var c = find_definition(ctx, "ls", o.name);
    if (CORBA::is_nil(c)) return 1;
    CORBA::DefinitionKind kind = c->def_kind();
    CORBA::String_var abs = c->absolute_name();
    if (!is_container_kind(kind)) {
      ctx.error("ls", std::string(abs.in()) + " is " + kind_name(kind) +
                          ", not a container");
      return 1;
    }
    CORBA::String_var id = c->id();
    container_id = id.in();
    container_name = abs.in();
  }
  RepositoryListing listing(ctx.session.repo());
  std::vector<DefinitionSummary> rows =
      o.recursive ? listing.subtree(container_id, container_name)
                  : listing.children(container_id, container_name);

  if (ctx.json) {
    print_json_rows(
        ctx,
        {{"container", {{"name", container_name}, {"id", container_id}}},
         {"recursive", o.recursive}},
        "definitions", rows);
    return 0;
  }

  Table table;
  table.add(header(o.long_form));
  for (const DefinitionSummary& s : rows) table.add(row_of(s, o.long_form));
  if (!o.recursive) {
    table.print(ctx.out);
    ctx.out << std::flush;
    return 0;
  }
  // Sections in the order of a walk from the top, each container's
  // children in creation order; containers without contents get none.
  std::map<std::string, std::vector<const DefinitionSummary*>> by_container;
  for (const DefinitionSummary& s : rows)
    by_container[s.defined_in].push_back(&s);
  bool first = true;
  std::vector<std::pair<std::string, std::string>> pending{
      {container_id, container_name}};
  while (!pending.empty()) {
    auto [id, name] = pending.back();
    pending.pop_back();
    auto found = by_container.find(id);
    if (found == by_container.end()) continue;
    if (!first) ctx.out << "\n";
    first = false;
    ctx.out << (name == "::" ? "(the repository)" : name) << ":\n"
            << table.format(header(o.long_form)) << "\n";
    for (const DefinitionSummary* s : found->second)
      ctx.out << table.format(row_of(*s, o.long_form)) << "\n";
    for (auto it = found->second.rbegin(); it != found->second.rend(); ++it)
      if (is_container_kind((*it)->kind))
        pending.emplace_back((*it)->id, (*it)->scoped_name);
  }
  ctx.out << std::flush;
  return 0;
}
