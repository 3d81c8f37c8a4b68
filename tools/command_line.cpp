#include "command_line.h"

#include "client/repository_session.h"

std::vector<std::string> ParsedArgs::values(const std::string& name) const {
  auto it = options.find(name);
  return it == options.end() ? std::vector<std::string>() : it->second;
}

std::string ParsedArgs::value(const std::string& name) const {
  auto it = options.find(name);
  return it == options.end() || it->second.empty() ? std::string()
                                                   : it->second.back();
}

ParsedArgs parse_args(const std::vector<std::string>& args,
                      const std::vector<OptionDef>& known) {
  ParsedArgs out;
  bool options_done = false;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (options_done || arg.size() < 2 || arg[0] != '-') {
      out.positional.push_back(arg);
      continue;
    }
    if (arg == "--") {
      options_done = true;
      continue;
    }
    const OptionDef* option = nullptr;
    std::string value;
    bool inline_value = false;
    for (const OptionDef& s : known) {
      std::string name = s.name;
      bool is_long = name.size() > 2;
      if (arg == name) {
        option = &s;
      } else if (is_long && arg.compare(0, name.size() + 1, name + "=") == 0) {
        option = &s;
        value = arg.substr(name.size() + 1);
        inline_value = true;
      } else if (!is_long && s.takes_value && arg.compare(0, 2, name) == 0) {
        option = &s;
        value = arg.substr(2);
        inline_value = true;
      }
      if (option) break;
    }
    if (!option) throw UsageError("unknown option " + arg);
    if (option->takes_value && !inline_value) {
      if (i + 1 >= args.size())
        throw UsageError("option " + arg + " needs a value");
      value = args[++i];
    } else if (!option->takes_value && inline_value) {
      throw UsageError("option " + std::string(option->name) +
                       " takes no value");
    }
    out.options[option->name].push_back(value);
  }
  return out;
}

namespace {

const char kMainUsage[] =
    "Usage: irctl [--ir URL] [-ORB<option> <value>]... COMMAND [ARGS]\n"
    "       irctl --help | irctl --version | irctl COMMAND --help\n"
    "\n"
    "Feeds IDL into an interface repository, removes it, browses the\n"
    "repository and prints it back as IDL.\n"
    "\n"
    "The repository is --ir URL (a corbaloc or IOR), else omniORB's\n"
    "InterfaceRepository initial reference (-ORBInitRef,\n"
    "-ORBDefaultInitRef, omniORB.cfg), else the irserver default\n"
    "%DEFAULT%.\n"
    "\n"
    "Commands:\n"
    "  feed FILE.idl...       create the definitions of IDL files\n"
    "  rm FILE.idl...|NAME... remove what files defined, or definitions\n"
    "  ls [NAME]              list the contents of the repository or a "
    "container\n"
    "  describe NAME|ID       print the description of one definition\n"
    "  idl [NAME]             print the repository or a subtree as IDL\n"
    "  find PATTERN           search definitions by name or id\n"
    "  refs NAME|ID           the definitions that refer to one\n"
    "  children NAME|ID       the interfaces that derive from one directly\n"
    "  call TARGET OPERATION [JSON-ARGS]\n"
    "                         call an operation of any object with JSON\n"
    "\n"
    "NAME is a scoped name (::A::B); ID a repository id (IDL:A/B:1.0).\n"
    "Exit status: 0 success, 1 failure, 2 bad command line (call: 3 when\n"
    "the operation raised a user exception).\n";

struct CommandHelp {
  const char* command;
  const char* text;
};

const CommandHelp kCommands[] = {
    {"feed",
     "Usage: irctl feed [-I DIR]... [-D NAME[=VALUE]]... [--include-deps]\n"
     "                  [--replace] FILE.idl...\n"
     "\n"
     "Parses the files with omniidl's front end and creates every\n"
     "definition they make in the repository.  Each file goes in as one\n"
     "user transaction: all of it or none of it.  Files that include each\n"
     "other are fed included file first.\n"
     "\n"
     "  -I DIR            add DIR to the #include search path\n"
     "  -D NAME[=VALUE]   define a preprocessor symbol\n"
     "  --include-deps    also feed the files that the files #include\n"
     "  --replace         change definitions that differ from the file's\n"
     "                    (without it such a difference fails the file)\n"
     "  --quiet           print only failures and the summary\n"
     "\n"
     "A definition already in the repository with the same id and the same\n"
     "contents is left as it is.  Progress goes to the terminal; a summary\n"
     "ends the output.  The exit status is 0 only when every file went in.\n"},
    {"rm",
     "Usage: irctl rm [-I DIR]... [-D NAME[=VALUE]]... [--include-deps]\n"
     "                FILE.idl...\n"
     "       irctl rm NAME|ID...\n"
     "\n"
     "With IDL files, removes what those files define (modules only when\n"
     "nothing else is left in them), one user transaction per file, files\n"
     "in the reverse of the order feed uses.  With names or repository ids,\n"
     "removes those definitions and everything inside them, all in one\n"
     "user transaction; the built-in Object cannot be removed.  Prints what\n"
     "it removed, and warns about definitions that still refer to it.\n"},
    {"ls",
     "Usage: irctl ls [-l] [-R] [NAME|ID]\n"
     "\n"
     "Lists the contents of the repository, or of the container NAME: one\n"
     "line per definition with its kind and name.\n"
     "\n"
     "  -l   also print the repository id and version\n"
     "  -R   list the containers inside, recursively\n"},
    {"describe",
     "Usage: irctl describe NAME|ID\n"
     "\n"
     "Prints the description of one definition: its kind, name, id,\n"
     "version, container and what its kind describes (members, labels,\n"
     "parameters, ...); the full interface description of an interface and\n"
     "the full value description of a value type.  Types are printed as\n"
     "IDL-like text.\n"},
    {"idl",
     "Usage: irctl idl [NAME|ID]\n"
     "\n"
     "Prints the whole repository, or the definition NAME with everything\n"
     "inside it, as IDL that omniidl accepts.  Repository ids that do not\n"
     "follow the default form come out as #pragma prefix, #pragma ID and\n"
     "#pragma version.\n"},
    {"find",
     "Usage: irctl find [--ids] [--kind KIND[,KIND]...] [--in NAME|ID] "
     "PATTERN\n"
     "\n"
     "Prints the definitions whose simple name (with --ids: repository\n"
     "id) matches the glob PATTERN ('*', '?', '[...]'), oldest first.\n"
     "\n"
     "  --ids         match repository ids instead of names\n"
     "  --kind LIST   only these kinds (Interface,Struct,...)\n"
     "  --in NAME     only below this container\n"},
    {"refs",
     "Usage: irctl refs [--uses|--derives] NAME|ID\n"
     "\n"
     "Prints the definitions that refer to NAME: those that use it as a\n"
     "type or exception (--uses), those that inherit from or support it\n"
     "(--derives), or both (the default).\n"},
    {"children",
     "Usage: irctl children NAME|ID\n"
     "\n"
     "Prints the interfaces that name the interface NAME as a direct base.\n"},
    {"call",
     "Usage: irctl call [--ns URL] [--interface NAME|ID] [--timeout SECONDS]\n"
     "                  TARGET OPERATION [JSON-ARGS]\n"
     "       irctl call [--ns URL] [--interface NAME|ID] TARGET --list\n"
     "\n"
     "Calls OPERATION on the object TARGET through the DII, with the types\n"
     "the repository gives, and prints the outcome as one JSON object:\n"
     "  {\"result\": R, \"out\": {\"<name>\": V, ...}}   (no result for void)\n"
     "  {\"exception\": \"<repository id>\", \"members\": {...}}\n"
     "                                                 (exit status 3)\n"
     "  {\"system_exception\": \"<name>\", \"minor\": N,\n"
     "   \"minor_text\": \"...\", \"completed\": \"NO|YES|MAYBE\"}\n"
     "                                                 (exit status 1)\n"
     "\n"
     "TARGET is an IOR, a corbaloc or corbaname URL, or a name (a/b.kind)\n"
     "in the naming service.  JSON-ARGS is a JSON array of the in and inout\n"
     "parameters in order, or an object keyed by their names; '-' reads it\n"
     "from standard input.  Attributes are called as _get_NAME and\n"
     "_set_NAME; oneway operations return at once.  lib/values/README.md\n"
     "gives the JSON form of every IDL type.\n"
     "\n"
     "  --ns URL            the naming service for names (HOST:PORT means\n"
     "                      its corbaloc); default: the NameService\n"
     "                      initial reference\n"
     "  --interface NAME|ID the target's interface in the repository\n"
     "                      (default: ask the target, _get_interface())\n"
     "  --timeout SECONDS   give up on a call that takes longer\n"
     "  --list              list the operations and attributes with a\n"
     "                      sample of their arguments\n"},
};

}  // namespace

std::string usage_text(const std::string& command) {
  if (command.empty()) {
    std::string text = kMainUsage;
    std::string::size_type at = text.find("%DEFAULT%");
    text.replace(at, 9, default_repository_url());
    return text;
  }
  for (const CommandHelp& c : kCommands)
    if (command == c.command) return c.text;
  return std::string();
}
