#include "command_support.h"

#include "client/corba_text.h"
#include "client/definition_json.h"
#include "client/suggest.h"

void CommandContext::print_json(const nlohmann::json& doc) const {
  out << doc.dump(2) << std::endl;
}

void CommandContext::error(const std::string& command,
                           const std::string& text) const {
  err << "irctl: " << (command.empty() ? "" : command + ": ") << text
      << std::endl;
}

std::string count_text(long n, const std::string& singular,
                       const std::string& plural) {
  return std::to_string(n) + " " +
         (n == 1           ? singular
          : plural.empty() ? singular + "s"
                           : plural);
}

CORBA::Contained_ptr find_definition(CommandContext& ctx,
                                     const std::string& command,
                                     const std::string& name) {
  CORBA::Contained_var c = ctx.session.find(name);
  if (!CORBA::is_nil(c)) return c._retn();
  std::string text = name + ": no such definition";
  if (!looks_like_repository_id(name)) {
    std::string wanted = name.compare(0, 2, "::") == 0 ? name : "::" + name;
    std::string close = suggest_definition(ctx.session.repo(), wanted);
    if (!close.empty()) text += "; did you mean " + close + "?";
  }
  ctx.error(command, text);
  return CORBA::Contained::_nil();
}

void Table::add(std::vector<std::string> row) {
  if (widths_.size() < row.size()) widths_.resize(row.size(), 0);
  for (std::size_t i = 0; i < row.size(); ++i)
    widths_[i] = std::max(widths_[i], row[i].size());
  rows_.push_back(std::move(row));
}

std::string Table::format(const std::vector<std::string>& row) const {
  std::string line;
  for (std::size_t i = 0; i < row.size(); ++i) {
    line += row[i];
    if (i + 1 < row.size()) {
      std::size_t width = i < widths_.size() ? widths_[i] : 0;
      line +=
          std::string(width > row[i].size() ? width - row[i].size() : 0, ' ') +
          "  ";
    }
  }
  return line;
}

void Table::print(std::ostream& out) const {
  for (const auto& row : rows_) out << format(row) << "\n";
}

void print_json_rows(CommandContext& ctx, const nlohmann::json& head,
                     const std::string& key,
                     const std::vector<DefinitionSummary>& rows) {
  std::string text = head.dump();
  text.pop_back();  // the closing brace
  if (text.size() > 1) text += ",";
  text += nlohmann::json(key).dump() + ":[";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    text += i ? ",\n" : "\n";
    text += summary_json(rows[i]).dump();
    if (text.size() > (1u << 20)) {
      ctx.out << text;
      text.clear();
    }
  }
  text += "\n]}";
  ctx.out << text << std::endl;
}

void print_summaries(CommandContext& ctx,
                     const std::vector<DefinitionSummary>& rows) {
  Table table;
  for (const DefinitionSummary& s : rows)
    table.add({kind_name(s.kind), s.scoped_name, s.id});
  table.print(ctx.out);
  ctx.out << std::flush;
}
