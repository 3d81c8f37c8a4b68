// irctl find, refs, children: lists of definitions found by a search or by
// their links to one definition.
#include "client/corba_text.h"
#include "client/definition_json.h"
#include "client/listing.h"
#include "command_support.h"
#include "commands.h"
#include "irext.hh"

namespace {

nlohmann::json rows_json(const std::vector<DefinitionSummary>& rows) {
  nlohmann::json out = nlohmann::json::array();
  for (const DefinitionSummary& s : rows) out.push_back(summary_json(s));
  return out;
}

std::vector<DefinitionSummary> summaries(const CORBA::ContainedSeq& seq) {
  std::vector<DefinitionSummary> rows;
  for (CORBA::ULong i = 0; i < seq.length(); ++i)
    rows.push_back(summary_of(seq[i]));
  return rows;
}

nlohmann::json definition_ref(CORBA::Contained_ptr c) {
  CORBA::String_var id = c->id();
  CORBA::String_var abs = c->absolute_name();
  return {{"name", abs.in()}, {"id", id.in()}};
}

}  // namespace

int find_command(CommandContext& ctx, const FindOptions& o) {
  SearchQuery q;
  q.pattern = o.pattern;
  q.match_ids = o.ids;
  q.ignore_case = o.ignore_case;
  q.kinds = o.kinds;
  if (!o.in.empty()) {
    CORBA::Contained_var c = find_definition(ctx, "find", o.in);
    if (CORBA::is_nil(c)) return 1;
    CORBA::DefinitionKind kind = c->def_kind();
    if (!is_container_kind(kind)) {
      CORBA::String_var abs = c->absolute_name();
      ctx.error("find", std::string(abs.in()) + " is " + kind_name(kind) +
                            ", not a container");
      return 1;
    }
    CORBA::String_var id = c->id();
    q.scope = id.in();
  }
  RepositoryListing listing(ctx.session.repo());
  std::vector<DefinitionSummary> found = listing.search(q);
  if (ctx.json)
    print_json_rows(ctx, {{"pattern", o.pattern}}, "matches", found);
  else
    print_summaries(ctx, found);
  // Like grep: 1 when nothing matched.
  return found.empty() ? 1 : 0;
}

int refs_command(CommandContext& ctx, const RefsOptions& o) {
  CORBA::Contained_var c = find_definition(ctx, "refs", o.name);
  if (CORBA::is_nil(c)) return 1;
  IRExt::Contained_var ext = IRExt::Contained::_unchecked_narrow(c);
  CORBA::ContainedSeq_var refs = ext->ext_get_refs_object(o.which.c_str());
  std::vector<DefinitionSummary> rows = summaries(refs.in());
  if (ctx.json)
    ctx.print_json({{"definition", definition_ref(c)},
                    {"which", o.which},
                    {"refs", rows_json(rows)}});
  else
    print_summaries(ctx, rows);
  return 0;
}

int children_command(CommandContext& ctx, const ChildrenOptions& o) {
  CORBA::Contained_var c = find_definition(ctx, "children", o.name);
  if (CORBA::is_nil(c)) return 1;
  CORBA::DefinitionKind kind = c->def_kind();
  if (kind != CORBA::dk_Interface && kind != CORBA::dk_AbstractInterface) {
    CORBA::String_var abs = c->absolute_name();
    ctx.error("children", std::string(abs.in()) + " is " + kind_name(kind) +
                              ", not an interface");
    return 1;
  }
  IRExt::InterfaceDef_var iface = IRExt::InterfaceDef::_unchecked_narrow(c);
  CORBA::InterfaceDefSeq_var kids = iface->ext_interface_children();
  CORBA::ContainedSeq seq;
  seq.length(kids->length());
  for (CORBA::ULong i = 0; i < kids->length(); ++i)
    seq[i] = CORBA::Contained::_duplicate(kids[i]);
  std::vector<DefinitionSummary> rows = summaries(seq);
  if (ctx.json)
    ctx.print_json(
        {{"definition", definition_ref(c)}, {"children", rows_json(rows)}});
  else
    print_summaries(ctx, rows);
  return 0;
}
