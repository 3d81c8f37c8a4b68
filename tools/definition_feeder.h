// Feeding one parsed IDL file into the repository: walks the file's
// records in order, finds what the repository already has, and creates,
// changes or removes definitions (definition_creator.h) so that the
// repository holds the file's definitions; or, under --check, only lists
// what differs (definition_compare.h).
#ifndef IR_TOOLS_DEFINITION_FEEDER_H
#define IR_TOOLS_DEFINITION_FEEDER_H

#include <omniORB4/CORBA.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "client/definition_view.h"
#include "client/repository_session.h"
#include "client/type_text.h"
#include "constant_values.h"
#include "definition_compare.h"
#include "definition_creator.h"
#include "feed_support.h"
#include "idl_comments.h"
#include "idl_records.h"
#include "type_objects.h"

// A failed feed of one file; what() is the one-line reason (file, line,
// definition, step and the CORBA exception).  The file's transaction, if
// one was begun, has been cancelled when it is thrown.
class FeedFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct FeedCounts {
  int created = 0;    // definitions created
  int unchanged = 0;  // definitions that were there already, identical
  int replaced = 0;   // definitions changed to what the file says
  int removed = 0;    // definitions removed (the file has them no more)
};

// One difference that --check found.
struct FeedDifference {
  int line = 0;
  std::string name;  // scoped name
  std::string id;
  std::string text;  // "its members differ; its version is 2.0, ..."
};

// What feeding one file did (or, under --check, found).
struct FeedReport {
  FeedCounts counts;
  std::vector<DefinitionRef> removed;  // top definitions removed
  std::vector<FeedDifference> differences;
};

struct FeederMode {
  // A definition that differs from the file's is changed to match it;
  // without, such a difference fails the file.
  bool replace = false;
  // With replace: remove definitions even when others still use them.
  bool force = false;
  // Compare only: change nothing, list every difference.
  bool check = false;
};

// Feeds files one at a time; keeps what it learnt about the repository
// (references of definitions, anonymous types) from one file to the
// next.  Not thread-safe.
class DefinitionFeeder : public ReferenceSource {
 public:
  DefinitionFeeder(RepositorySession& session, FeederMode mode);
  ~DefinitionFeeder() override;

  // Feeds the items of `tree` that belong to file `file` (named `path` in
  // messages).  Every definition is created, changed or found identical;
  // the user transaction that holds the changes is begun at the first
  // change (a file that matches the repository changes nothing and needs
  // no transaction, so it also goes "in" on a read-only server) and
  // committed at the end.  `progress` is called after each definition
  // with the number done so far.  Throws FeedFailure after cancelling the
  // transaction (a failed cancel is added to its text).  `records` and
  // `tree` must stay unchanged during the call.
  FeedReport feed_file(const IdlRecords& records, const IdlTree& tree, int file,
                       const std::string& path,
                       const std::function<void(int)>& progress);

  // ReferenceSource: a cached reference, a pending forward declaration
  // made now, or a lookup (DefinitionError when the repository lacks it).
  CORBA::Contained_ptr reference(const std::string& id) override;

 private:
  struct ChildEntry;
  struct Scope;

  void process_definition(const DefRecord& d, std::size_t index);
  void process_existing(const DefRecord& d, std::size_t index, Scope& s,
                        ChildEntry& c);
  void process_end(const std::string& id);
  void process_forward(const DefRecord& d);

  // The children that the repository already has in `s` (loaded once).
  void load_children(Scope& s);
  ChildEntry* find_child(Scope& s, const std::string& name);
  Scope& open_scope(const DefRecord* d, CORBA::Container_ptr ref,
                    bool preexisting);

  // Creates `d` in `in`; `record_follows` when the full record of `d` is
  // still to come (a forward-declared definition used early).
  CORBA::Contained_ptr create(const DefRecord& d, Scope& in, bool shell,
                              bool record_follows);
  // True for a struct, union or exception that holds nested definitions
  // or names a type defined later in the file (itself included).
  bool needs_shell(const DefRecord& d, std::size_t index);
  void create_pending_shell(const std::string& id);
  void create_new(const DefRecord& d, Scope& s, std::size_t index);

  // Removes definitions of the repository that the file no longer has, or
  // that hold a name or id the file gives another definition: refused
  // (unless --force) while definitions outside them, that the file does
  // not define, still use them.  `why` says why for messages.
  void remove(const std::vector<CORBA::Contained_var>& doomed,
              const std::string& why);
  // Destroys a definition that is made again at once (a changed kind, an
  // operation): not a removal to report.
  void destroy_for_remake(CORBA::Contained_ptr obj);
  void forget_references();

  // Sets the documentation comment of `obj` to the one above `d` in its
  // file, where the server keeps comments; `fresh`: just created.
  void apply_comment(const DefRecord& d, CORBA::Contained_ptr obj, bool fresh);
  // --check: notes a difference of `d` (or of the definition `id`).
  void note_difference(const DefRecord& d, const std::string& text);

  // The change hook: begins the user transaction at the first change.
  void before_change();
  void forget_transaction();
  std::string def_text(const std::string& id) const;
  [[noreturn]] void fail(const std::string& what);

  RepositorySession& session_;
  FeederMode mode_;
  AnyCodec codec_;
  TypeObjects types_;
  ConstantValues values_;
  DefinitionComparer comparer_;
  DefinitionCreator creator_;
  IdlComments comments_;
  bool comments_offered_ = true;

  // Known references by repository id; kept across files.
  std::map<std::string, CORBA::Contained_var> known_;

  // The file being fed.
  const IdlRecords* records_ = nullptr;
  const IdlTree* tree_ = nullptr;
  int file_ = 0;
  std::string path_;
  std::map<std::string, const DefRecord*> by_id_;  // records of the tree
  std::map<std::string, std::size_t> position_;    // index of full records
  std::map<std::string, std::unique_ptr<Scope>> scopes_;
  std::map<std::string, const DefRecord*> pending_;
  std::set<std::string> absent_;  // --check: containers the repository lacks
  std::vector<std::string> transaction_ids_;  // created by this transaction
  bool in_transaction_ = false;
  const DefRecord* current_ = nullptr;  // for messages
  std::string step_;                    // for messages
  FeedReport report_;
};

#endif
