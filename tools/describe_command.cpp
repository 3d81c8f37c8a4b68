// irctl describe: the description model of each named definition, as text
// or as JSON.
#include "client/definition_json.h"
#include "client/definition_view.h"
#include "command_support.h"
#include "commands.h"
#include "describe_text.h"

int describe_command(CommandContext& ctx, const DescribeOptions& o) {
  DefinitionReader reader(ctx.session.orb(), ctx.session.repo());
  nlohmann::json docs = nlohmann::json::array();
  int status = 0;
  bool first = true;
  for (const std::string& name : o.names) {
    CORBA::Contained_var c = find_definition(ctx, "describe", name);
    if (CORBA::is_nil(c)) {
      status = 1;
      continue;
    }
    DefinitionView view = reader.read(c);
    if (ctx.json) {
      docs.push_back(definition_json(view));
      continue;
    }
    if (!first) ctx.out << "\n";
    first = false;
    ctx.out << describe_text(view);
  }
  if (ctx.json) ctx.print_json({{"definitions", docs}});
  ctx.out << std::flush;
  return status;
}
