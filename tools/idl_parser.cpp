#include "idl_parser.h"

#include <cstdlib>
#include <filesystem>

#include "child_process.h"
#include "feed_plan.h"

std::string omniidl_program() {
  const char* env = std::getenv("IRCTL_OMNIIDL");
  if (env && *env) return env;
  return IRCTL_OMNIIDL_DEFAULT;
}

std::string backend_dir() {
  const char* env = std::getenv("IRCTL_BACKEND_DIR");
  if (env && *env) return env;
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
// current one.
void locate_files(const IdlParseOptions& options, IdlRecords* records) {
  namespace fs = std::filesystem;
  for (IdlFile& f : records->files) {
    if (f.main || fs::path(f.path).is_absolute()) {
      f.location = canonical_path(f.path);
      continue;
    }
    std::vector<fs::path> dirs;
    for (const IdlTree& tree : records->trees)
      for (int inc : tree.includes)
        if (&records->files[inc] == &f)
          dirs.push_back(
              fs::path(records->files[tree.main_file].path).parent_path());
    for (const std::string& d : options.include_dirs) dirs.push_back(d);
    dirs.push_back(fs::current_path());
    f.location = canonical_path(f.path);
    for (const fs::path& d : dirs) {
      std::error_code ec;
      if (fs::exists(d / f.path, ec)) {
        f.location = canonical_path((d / f.path).string());
        break;
      }
    }
  }
}

}  // namespace

IdlParseResult parse_idl(const std::vector<std::string>& files,
                         const IdlParseOptions& options) {
  IdlParseResult result;
  std::size_t next = 0;
  while (next < files.size()) {
    std::vector<std::string> argv = omniidl_argv(options);
    argv.insert(argv.end(), files.begin() + static_cast<long>(next),
                files.end());
    ChildResult run = run_child(argv);
    if (!run.started) throw IdlParserError(run.err);
    if (run.exit_status != 0 &&
        run.err.find("Could not import back-end") != std::string::npos)
      throw IdlParserError(
          "omniidl cannot load irctl's back-end from " + backend_dir() +
          " (set IRCTL_BACKEND_DIR): " + trimmed_message(run.err));
    std::size_t trees_before = result.records.trees.size();
    parse_idl_records(run.out, &result.records);
    std::size_t parsed = result.records.trees.size() - trees_before;
    if (parsed > files.size() - next)
      throw RecordError("the back-end printed more trees than files given");
    next += parsed;
    if (run.exit_status == 0) {
      if (next != files.size())
        throw RecordError("the back-end printed fewer trees than files given");
      break;
    }
    // omniidl stops at the first file it refuses; that is files[next].
    IdlParseFailure failure;
    failure.file = files[next];
    failure.message = trimmed_message(run.err);
    if (failure.message.empty())
      failure.message =
          "omniidl exited with status " + std::to_string(run.exit_status);
    result.failures.push_back(failure);
    ++next;
  }
  locate_files(options, &result.records);
  return result;
}
