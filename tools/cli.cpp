#include "cli.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>

#include "client/corba_text.h"
#include "client/repository_session.h"
#include "client/suggest.h"
#include "platform/version.h"

namespace {

const char kDescription[] =
    "Feeds IDL into an interface repository, removes it, browses the\n"
    "repository and prints it back as IDL.";

const char kFooter[] =
    "The repository is --ir URL (host:port, a corbaloc URL or an IOR),\n"
    "else omniORB's InterfaceRepository initial reference (-ORBInitRef,\n"
    "-ORBDefaultInitRef, omniORB.cfg), else the irserver default\n"
    "%DEFAULT%.\n"
    "-ORB<option> <value> pairs go to omniORB.  Options may come before\n"
    "or after the command.\n"
    "\n"
    "NAME is a scoped name (::A::B) or a repository id (IDL:A/B:1.0).\n"
    "Exit status: 0 success, 1 failure (find: nothing matched),\n"
    "2 bad command line.  Run irctl COMMAND --help for a command's options.";

struct CommandInfo {
  const char* name;
  const char* summary;
  const char* details;
};

const CommandInfo kCommands[] = {
    {"feed", "create the definitions of IDL files",
     "Parses the files with omniidl's front end and creates every\n"
     "definition they make in the repository.  The files they #include go\n"
     "in first (each file once, definitions already there and identical\n"
     "left alone).  Each file is one user transaction: all of it or none\n"
     "of it.  A documentation comment right before a definition is kept\n"
     "with it.  The exit status is 0 only when every file went in (or,\n"
     "with --check, when every file matches the repository)."},
    {"rm", "remove what IDL files defined, or definitions by name",
     "With IDL files, removes what those files define (modules only when\n"
     "nothing else is left in them), one user transaction per file, files\n"
     "in the reverse of the order feed uses.  With names or repository\n"
     "ids, removes those definitions and everything inside them in one\n"
     "user transaction; the built-in Object cannot be removed.  A removal\n"
     "that would leave definitions outside it referring to what it removes\n"
     "is refused, listing them, unless --force."},
    {"ls", "list the contents of the repository or of a container",
     "Lists the definitions directly inside the repository, or inside the\n"
     "container NAME, in the order they were created: kind and scoped\n"
     "name in aligned columns under a header."},
    {"describe", "print everything known about definitions",
     "Prints the description of each definition: kind, names, id,\n"
     "version, container, documentation comment, TypeCode, and what its\n"
     "kind has (members, cases, parameters, bases, derived interfaces,\n"
     "own and inherited operations and attributes, ...), with scoped\n"
     "names for every type and definition it names."},
    {"idl", "print the repository or a subtree as IDL",
     "Prints the whole repository, or the definition NAME with everything\n"
     "inside it, as IDL that omniidl accepts.  Repository ids that do not\n"
     "follow the default form come out as #pragma prefix, #pragma ID and\n"
     "#pragma version."},
    {"find", "search definitions by name or repository id",
     "Prints the definitions whose simple name (with --ids: repository\n"
     "id) matches the glob PATTERN ('*', '?', '[...]'), oldest first.\n"
     "Exits with 1 when nothing matches, like grep."},
    {"refs", "the definitions that refer to a definition",
     "Prints the definitions that refer to NAME: those that use it as a\n"
     "type or exception (--uses), those that inherit from or support it\n"
     "(--derives), or both (the default)."},
    {"children", "the interfaces that derive from an interface directly",
     "Prints the interfaces that name the interface NAME as a direct\n"
     "base."},
    {"ping", "check that the repository answers and is healthy",
     "One round trip that also proves that the store answers: prints the\n"
     "server's version, database, read-only flag, number of definitions\n"
     "and uptime.  Exits with 0 only when the server is healthy."},
    {"backup", "make the server write a copy of its database",
     "The running server writes a consistent copy of its database into\n"
     "its backup directory; prints the copy's path."},
    {"call", "call an operation of any object with JSON arguments",
     "Calls OPERATION on the object TARGET through the DII, with the types\n"
     "the repository gives, and prints the outcome as one JSON object:\n"
     "  {\"result\": R, \"out\": {\"<name>\": V, ...}}   (no result for void)\n"
     "  {\"exception\": \"<repository id>\", \"members\": {...}}\n"
     "                                                 (exit status 3)\n"
     "  {\"system_exception\": \"<name>\", \"minor\": N,\n"
     "   \"minor_text\": \"...\", \"completed\": \"NO|YES|MAYBE\"}\n"
     "                                                 (exit status 1)\n"
     "With --list: the operations and attributes of TARGET with a sample\n"
     "of their arguments, and no call.\n"
     "\n"
     "TARGET is an IOR, a corbaloc or corbaname URL, or a name (a/b.kind)\n"
     "in the naming service.  JSON-ARGS is a JSON array of the in and inout\n"
     "parameters in order, or an object keyed by their names; '-' reads it\n"
     "from standard input.  Attributes are called as _get_NAME and\n"
     "_set_NAME; oneway operations return at once.  lib/values/README.md\n"
     "gives the JSON form of every IDL type."},
};

// Usage lines name the tool with the command: "irctl feed [OPTIONS]".
class UsageFormatter : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App* app, std::string name) const override {
    if (app->get_parent()) name = app->get_parent()->get_name() + " " + name;
    return CLI::Formatter::make_usage(app, name);
  }
};

const char kCommandFooter[] =
    "\n\nThe options of irctl (--ir URL, -o json, -ORB...) may be given too.";

// Global options that take a value, for finding the command word before
// CLI11 sees the arguments.
bool global_takes_value(const std::string& arg) {
  return arg == "--ir" || arg == "-o" || arg == "--output";
}

// The first argument that is not an option (nor an option's value).
std::string command_word(const std::vector<std::string>& args) {
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--") return i + 1 < args.size() ? args[i + 1] : std::string();
    if (global_takes_value(a)) {
      ++i;
      continue;
    }
    if (!a.empty() && a[0] == '-') continue;
    return a;
  }
  return std::string();
}

std::string lower_first(std::string s) {
  if (!s.empty() && s[0] >= 'A' && s[0] <= 'Z' &&
      (s.size() < 2 || !(s[1] >= 'A' && s[1] <= 'Z')))
    s[0] = static_cast<char>(s[0] - 'A' + 'a');
  return s;
}

std::string usage_message(const std::string& command, const std::string& what) {
  std::string prefix = "irctl: " + (command.empty() ? "" : command + ": ");
  return prefix + what + " (see irctl " +
         (command.empty() ? "" : command + " ") + "--help)";
}

bool is_idl_file(const std::string& arg) {
  if (arg.size() > 4 && arg.compare(arg.size() - 4, 4, ".idl") == 0)
    return true;
  if (looks_like_repository_id(arg) || arg.compare(0, 2, "::") == 0)
    return false;
  std::ifstream probe(arg);
  return bool(probe);
}

// "Interface,struct" as "Interface,Struct"; UsageError for a word that
// is no kind.
std::string normalised_kinds(const std::vector<std::string>& lists) {
  std::string kinds;
  for (const std::string& list : lists) {
    std::size_t pos = 0;
    while (pos <= list.size()) {
      std::size_t comma = list.find(',', pos);
      if (comma == std::string::npos) comma = list.size();
      std::string word = list.substr(pos, comma - pos);
      CORBA::DefinitionKind kind;
      if (!kind_from_name(word, &kind) || kind == CORBA::dk_none ||
          kind == CORBA::dk_all)
        throw UsageError("unknown kind '" + word + "' in --kind");
      kinds += (kinds.empty() ? "" : ",") + kind_name(kind);
      pos = comma + 1;
    }
  }
  return kinds;
}

void add_idl_input(CLI::App* cmd, IdlInputOptions& in, bool feed) {
  cmd->add_option("-I", in.include_dirs, "add DIR to the #include search path")
      ->type_name("DIR")
      ->allow_extra_args(false);
  cmd->add_option("-D", in.defines, "define a preprocessor symbol")
      ->type_name("NAME[=VALUE]")
      ->allow_extra_args(false);
  if (feed) {
    in.include_deps = true;
    cmd->add_flag_callback(
        "--no-include-deps", [&in] { in.include_deps = false; },
        "do not feed the #included files: refuse a file whose included "
        "definitions are missing");
    // The old way of asking for the default.
    cmd->add_flag_callback(
        "--include-deps", [] {}, "the default: feed the #included files first");
  } else {
    cmd->add_flag("--include-deps", in.include_deps,
                  "also remove what the #included files define");
  }
}

// The --timeout value in milliseconds; throws UsageError unless it is a
// positive number of seconds (a week at most).
unsigned long timeout_ms(const std::string& text) {
  char* end = nullptr;
  double seconds = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !(seconds > 0) || seconds > 86400 * 7)
    throw UsageError("--timeout wants a positive number of seconds, not '" +
                     text + "'");
  unsigned long ms = static_cast<unsigned long>(seconds * 1000 + 0.5);
  return ms ? ms : 1;
}

// Checks the arguments of call (reading JSON-ARGS "-" from standard
// input) and fills `call`; throws UsageError.
void check_call(const std::vector<std::string>& pos, const std::string& timeout,
                CallOptions* call) {
  if (pos.empty()) throw UsageError("give a TARGET");
  if (call->list && pos.size() != 1)
    throw UsageError("--list takes a TARGET and nothing else");
  if (!call->list && pos.size() < 2) throw UsageError("give an OPERATION");
  if (pos.size() > 3) throw UsageError("too many arguments: '" + pos[3] + "'");
  if (!timeout.empty()) call->timeout_ms = timeout_ms(timeout);
  call->target = pos[0];
  if (pos.size() > 1) call->operation = pos[1];
  if (pos.size() < 3) return;
  call->args = pos[2];
  if (call->args == "-")
    call->args.assign(std::istreambuf_iterator<char>(std::cin),
                      std::istreambuf_iterator<char>());
  try {
    nlohmann::ordered_json parsed = nlohmann::ordered_json::parse(call->args);
    (void)parsed;  // call_command reads it again
  } catch (const nlohmann::json::parse_error& e) {
    std::string why = e.what();
    std::string::size_type tag = why.find("] ");
    if (tag != std::string::npos) why = why.substr(tag + 2);
    throw UsageError("JSON-ARGS is not JSON: " + why);
  }
}

std::string footer_text() {
  std::string text = kFooter;
  std::string::size_type at = text.find("%DEFAULT%");
  text.replace(at, 9, default_repository_url());
  return text;
}

// The -ORB options (with their values) out of argv; a quiet trace level,
// a generous message size limit and a connect timeout unless given.
void split_orb_arguments(int argc, char** argv, std::vector<std::string>* orb,
                         std::vector<std::string>* rest) {
  orb->push_back(argc > 0 ? argv[0] : "irctl");
  bool trace_level = false, max_size = false, connect_timeout = false;
  for (int i = 1; i < argc; ++i) {
    std::string a = argv[i];
    if (a.compare(0, 4, "-ORB") == 0 && a != "-ORBhelp") {
      orb->push_back(a);
      if (a == "-ORBtraceLevel") trace_level = true;
      if (a == "-ORBgiopMaxMsgSize") max_size = true;
      if (a == "-ORBclientConnectTimeOutPeriod") connect_timeout = true;
      if (i + 1 < argc) orb->push_back(argv[++i]);
      continue;
    }
    rest->push_back(a);
  }
  if (!trace_level) orb->insert(orb->end(), {"-ORBtraceLevel", "0"});
  // Listings of a whole repository are large replies.
  if (!max_size) orb->insert(orb->end(), {"-ORBgiopMaxMsgSize", "268435456"});
  // A host that drops the connection attempt is reported, not waited for.
  if (!connect_timeout)
    orb->insert(orb->end(), {"-ORBclientConnectTimeOutPeriod", "5000"});
}

}  // namespace

const std::vector<std::string>& command_names() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> n;
    for (const CommandInfo& c : kCommands) n.push_back(c.name);
    return n;
  }();
  return names;
}

std::string repository_url(const std::string& ir) {
  if (ir.empty()) return ir;
  static const std::regex host_port(
      R"(^(\[[0-9A-Fa-f:.]+\]|[A-Za-z0-9._-]+):([0-9]{1,5})$)");
  static const std::regex corbaloc_no_key(
      R"(^corbaloc:(iiop|ssliop)?:(\[[0-9A-Fa-f:.]+\]|[A-Za-z0-9._-]+)(:[0-9]{1,5})?/?$)");
  if (ir.compare(0, 4, "IOR:") == 0 || ir.compare(0, 10, "corbaname:") == 0)
    return ir;
  if (std::regex_match(ir, corbaloc_no_key)) {
    std::string url = ir;
    if (url.back() == '/') url.pop_back();
    return url + "/InterfaceRepository";
  }
  if (ir.compare(0, 9, "corbaloc:") == 0) return ir;
  if (std::regex_match(ir, host_port))
    return "corbaloc::" + ir + "/InterfaceRepository";
  throw UsageError("--ir " + ir +
                   ": not a repository address (host:port, a corbaloc URL "
                   "or an IOR)");
}

ParseOutcome parse_command_line(int argc, char** argv, CommandLine* out) {
  std::vector<std::string> args;
  split_orb_arguments(argc, argv, &out->global.orb_args, &args);
  ParseOutcome outcome;

  // A mistyped command is named before CLI11 reads it as an argument.
  std::string word = command_word(args);
  const std::vector<std::string>& names = command_names();
  if (!word.empty() &&
      std::find(names.begin(), names.end(), word) == names.end()) {
    std::string close = closest_word(word, names);
    outcome.action = ParseOutcome::kUsageError;
    outcome.text = usage_message(
        "", "unknown command '" + word + "'" +
                (close.empty() ? "" : "; did you mean '" + close + "'?"));
    return outcome;
  }

  CLI::App app{kDescription, "irctl"};
  app.formatter(std::make_shared<UsageFormatter>());
  app.set_help_flag("-h,--help", "print this help and exit");
  app.set_version_flag("--version", "irctl " + ir_version_text(),
                       "print irctl's version and exit");
  app.fallthrough();
  app.require_subcommand(1);
  app.footer(footer_text());
  std::string output = "text";
  app.add_option("--ir", out->global.ir,
                 "the repository: host:port, corbaloc URL or IOR")
      ->type_name("URL")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_option("-o,--output", output,
                 "text (the default) or json: one JSON document per run")
      ->type_name("FORMAT")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)
      ->check(CLI::IsMember({"text", "json"}));

  std::map<std::string, CLI::App*> cmd;
  for (const CommandInfo& c : kCommands) {
    CLI::App* sub = app.add_subcommand(c.name, c.summary);
    sub->footer(std::string(c.details) + kCommandFooter);
    sub->set_help_flag("-h,--help", "print this help and exit");
    cmd[c.name] = sub;
  }

  FeedOptions& feed = out->feed;
  add_idl_input(cmd["feed"], feed.input, true);
  cmd["feed"]->add_flag("--replace", feed.replace,
                        "change definitions that differ from the file's "
                        "(without it such a difference fails the file)");
  cmd["feed"]->add_flag("--force", feed.force,
                        "with --replace: remove definitions that others "
                        "still use");
  cmd["feed"]->add_flag("--check", feed.check,
                        "compare the files with the repository and list "
                        "every difference; change nothing");
  cmd["feed"]->add_flag("-q,--quiet", feed.quiet,
                        "print only failures and the summary");
  cmd["feed"]
      ->add_option("FILE", feed.files, "IDL files")
      ->type_name("FILE.idl")
      ->required();

  RmOptions& rm = out->rm;
  std::vector<std::string> rm_targets;
  add_idl_input(cmd["rm"], rm.input, false);
  cmd["rm"]->add_flag("--force", rm.force,
                      "remove even what definitions outside the removal "
                      "still use (they are left referring to nothing)");
  cmd["rm"]->add_flag("-n,--dry-run", rm.dry_run,
                      "print what would be removed and what would be left "
                      "dangling; remove nothing");
  cmd["rm"]
      ->add_option("TARGET", rm_targets,
                   "IDL files, or scoped names and repository ids")
      ->type_name("FILE.idl|NAME")
      ->required();

  LsOptions& ls = out->ls;
  cmd["ls"]->add_flag("-l,--long", ls.long_form,
                      "also print the repository id and version");
  cmd["ls"]->add_flag("-R,--recursive", ls.recursive,
                      "list the containers inside too, recursively");
  cmd["ls"]->add_option("NAME", ls.name, "a container (default: all)");

  cmd["describe"]
      ->add_option("NAME", out->describe.names, "definitions to describe")
      ->required();

  cmd["idl"]->add_option("NAME", out->idl.name,
                         "a definition (default: the whole repository)");
  cmd["idl"]->add_flag("--with-deps", out->idl.with_deps,
                       "also print every definition outside NAME that it "
                       "needs, so that omniidl compiles the text on its own");

  FindOptions& find = out->find;
  std::vector<std::string> kinds;
  cmd["find"]->add_flag("--ids", find.ids,
                        "match repository ids instead of names");
  cmd["find"]->add_flag("-i,--ignore-case", find.ignore_case,
                        "match without regard to case");
  cmd["find"]
      ->add_option("--kind", kinds, "only these kinds (Interface,Struct,...)")
      ->type_name("KIND[,KIND...]")
      ->allow_extra_args(false);
  cmd["find"]
      ->add_option("--in", find.in, "only below this container")
      ->type_name("NAME");
  cmd["find"]->add_option("PATTERN", find.pattern, "glob pattern")->required();

  bool uses = false, derives = false;
  CLI::Option* uses_opt = cmd["refs"]->add_flag(
      "--uses", uses, "only uses as a type, exception or constant type");
  cmd["refs"]
      ->add_flag("--derives", derives,
                 "only interfaces and value types that inherit or support it")
      ->excludes(uses_opt);
  cmd["refs"]->add_option("NAME", out->refs.name, "a definition")->required();

  cmd["children"]
      ->add_option("NAME", out->children.name, "an interface")
      ->required();

  CallOptions& call = out->call;
  std::string timeout;
  std::vector<std::string> call_args(3);
  cmd["call"]
      ->add_option("--ns", call.ns,
                   "the naming service for names (HOST:PORT means its "
                   "corbaloc); default: the NameService initial "
                   "reference")
      ->type_name("URL");
  cmd["call"]
      ->add_option("--interface", call.interface,
                   "the target's interface in the repository "
                   "(default: ask the target, _get_interface())")
      ->type_name("NAME|ID");
  cmd["call"]
      ->add_option("--timeout", timeout, "give up on a call that takes longer")
      ->type_name("SECONDS");
  cmd["call"]->add_flag("--list", call.list,
                        "list the operations and attributes with a sample of "
                        "their arguments");
  // Three positionals of one value each: CLI11 would split a JSON array
  // given to a list-valued one at its commas.
  cmd["call"]->add_option("TARGET", call_args[0],
                          "an IOR, a corbaloc or corbaname URL, or a name in "
                          "the naming service");
  cmd["call"]->add_option("OPERATION", call_args[1],
                          "the operation or attribute accessor");
  cmd["call"]->add_option("JSON-ARGS", call_args[2],
                          "the in and inout parameters: a JSON array or "
                          "object, or - for standard input");

  // CLI11 reads the arguments back to front.
  std::vector<std::string> reversed(args.rbegin(), args.rend());
  try {
    app.parse(reversed);
    out->command = app.get_subcommands().at(0)->get_name();
    out->global.output =
        output == "json" ? OutputFormat::kJson : OutputFormat::kText;
    out->global.ir = repository_url(out->global.ir);
    find.kinds = normalised_kinds(kinds);
    out->refs.which = uses ? "uses" : derives ? "derives" : "all";
    if (out->command == "rm") {
      for (const std::string& t : rm_targets)
        (is_idl_file(t) ? rm.files : rm.names).push_back(t);
      if (!rm.files.empty() && !rm.names.empty())
        throw UsageError("give either IDL files or names, not both");
      if (!rm.names.empty() &&
          (!rm.input.include_dirs.empty() || !rm.input.defines.empty() ||
           rm.input.include_deps))
        throw UsageError("-I, -D and --include-deps apply to IDL files");
    }
    if (out->command == "call") {
      while (!call_args.empty() && call_args.back().empty())
        call_args.pop_back();
      check_call(call_args, timeout, &call);
    }
    if (out->command == "feed" && feed.force && !feed.replace)
      throw UsageError("--force goes with --replace");
    if (out->command == "feed" && feed.check && feed.replace)
      throw UsageError("--check changes nothing: it excludes --replace");
  } catch (const CLI::CallForVersion& e) {
    outcome.action = ParseOutcome::kPrint;
    outcome.text = std::string(e.what()) + "\n";
  } catch (const CLI::CallForHelp&) {
    outcome.action = ParseOutcome::kPrint;
    const auto& chosen = app.get_subcommands();
    outcome.text = chosen.empty() ? app.help() : chosen[0]->help();
  } catch (const CLI::ParseError& e) {
    outcome.action = ParseOutcome::kUsageError;
    std::string what = e.what();
    if (dynamic_cast<const CLI::RequiredError*>(&e) &&
        what == "A subcommand is required")
      what = "no command given";
    std::string::size_type colon = what.find(": ");
    if (dynamic_cast<const CLI::ExtrasError*>(&e) &&
        colon != std::string::npos) {
      std::string extra = what.substr(colon + 2);
      what = (extra.size() > 1 && extra[0] == '-' ? "unknown option "
                                                  : "unexpected argument ") +
             extra;
    }
    outcome.text = usage_message(word, lower_first(what));
  } catch (const UsageError& e) {
    outcome.action = ParseOutcome::kUsageError;
    outcome.text = usage_message(word, e.what());
  }
  return outcome;
}
