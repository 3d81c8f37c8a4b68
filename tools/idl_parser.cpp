#include "idl_parser.h"

#include <cstdlib>
#include <filesystem>

#include "feed_plan.h"
#include "util/process.h"

std::string omniidl_program() {
  const char* env = std::getenv("IRCTL_OMNIIDL");
  if (env && *env) return env;
  return IRCTL_OMNIIDL_DEFAULT;
}

// IRCTL_BACKEND_DIR, else the installed back-end beside this irctl
// (BINDIR/../share/irserver/backend), else the build tree's.
std::string backend_dir() {
  const char* env = std::getenv("IRCTL_BACKEND_DIR");
  if (env && *env) return env;
  std::error_code ec;
  std::filesystem::path self =
      std::filesystem::read_symlink("/proc/self/exe", ec);
  if (!ec) {
    std::filesystem::path installed =
        (self.parent_path() / IRCTL_BACKEND_DIR_RELATIVE).lexically_normal();
    if (std::filesystem::exists(installed / "irctl_backend.py", ec))
      return installed.string();
  }
  return IRCTL_BACKEND_DIR_DEFAULT;
}

const char* backend_module() { return "irctl_backend"; }

namespace {

std::vector<std::string> omniidl_argv(const IdlParseOptions& options) {
  std::vector<std::string> argv{omniidl_program(), "-p", backend_dir(),
                                std::string("-b") + backend_module()};
  if (options.include_deps) argv.push_back("-Wbdeps");
  for (const std::string& dir : options.include_dirs)
    argv.push_back("-I" + dir);
  for (const std::string& d : options.defines) argv.push_back("-D" + d);
  return argv;
}

// omniidl's messages without its closing count line ("omniidl: 2 errors.").
std::string trimmed_message(const std::string& err) {
  std::string text = err;
  while (!text.empty() && (text.back() == '\n' || text.back() == ' '))
    text.pop_back();
  return text;
}

// The preprocessor names an #included file as the #include found it:
// relative to the including file's directory, an -I directory or the
// current one.  Fills in `location` of the files of `tree` that lack it.
void locate_files(const IdlParseOptions& options, IdlRecords* records,
                  std::size_t tree) {
  namespace fs = std::filesystem;
  const IdlTree& t = records->trees[tree];
  std::vector<int> files = t.includes;
  files.push_back(t.main_file);
  for (const TreeItem& item : t.items) files.push_back(item.file);
  fs::path main_dir = fs::path(records->files[t.main_file].path).parent_path();
  for (int index : files) {
    IdlFile& f = records->files[index];
    if (!f.location.empty()) continue;
    f.location = canonical_path(f.path);
    if (f.main || fs::path(f.path).is_absolute()) continue;
    std::vector<fs::path> dirs{main_dir};
    for (const std::string& d : options.include_dirs) dirs.push_back(d);
    dirs.push_back(fs::current_path());
    for (const fs::path& d : dirs) {
      std::error_code ec;
      if (fs::exists(d / f.path, ec)) {
        f.location = canonical_path((d / f.path).string());
        break;
      }
    }
  }
}

// The last line of `text` that is not empty (omniidl puts the reason
// there).
std::string last_line(const std::string& text) {
  std::string trimmed = trimmed_message(text);
  std::string::size_type nl = trimmed.rfind('\n');
  return nl == std::string::npos ? trimmed : trimmed.substr(nl + 1);
}

}  // namespace

IdlParseResult parse_idl(const std::vector<std::string>& files,
                         const IdlParseOptions& options,
                         IdlParseListener* listener) {
  IdlParseResult result;
  std::size_t next = 0;
  while (next < files.size()) {
    std::vector<std::string> argv = omniidl_argv(options);
    argv.insert(argv.end(), files.begin() + static_cast<long>(next),
                files.end());
    ChildStream run(argv);
    if (!run.started()) throw IdlParserError(run.error());
    IdlRecordReader reader(&result.records);
    auto tree_done = [&](std::size_t tree) {
      locate_files(options, &result.records, tree);
      if (listener) listener->tree_done(result.records, tree);
    };
    std::string line;
    while (run.next_line(&line))
      if (reader.add_line(line)) tree_done(result.records.trees.size() - 1);
    int status = run.wait();
    std::string err = run.err();
    if (status != 0 &&
        err.find("Could not import back-end") != std::string::npos)
      throw IdlParserError("omniidl cannot load irctl's back-end from " +
                           backend_dir() +
                           " (set IRCTL_BACKEND_DIR): " + last_line(err));
    reader.finish();
    std::size_t parsed = reader.trees_done();
    if (parsed > files.size() - next)
      throw RecordError("the back-end printed more trees than files given");
    next += parsed;
    if (status == 0) {
      if (next != files.size())
        throw RecordError("the back-end printed fewer trees than files given");
      break;
    }
    // omniidl stops at the first file it refuses; that is files[next].
    IdlParseFailure failure;
    failure.file = files[next];
    failure.message = trimmed_message(err);
    if (failure.message.empty())
      failure.message = "omniidl exited with status " + std::to_string(status);
    result.failures.push_back(failure);
    if (listener) listener->file_refused(failure);
    ++next;
  }
  return result;
}
