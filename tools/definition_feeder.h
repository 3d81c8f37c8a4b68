// Creating the definitions of one parsed IDL file in the repository, as
// one user transaction, with the standard create operations.
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

#include "idl_records.h"
#include "client/repository_session.h"
#include "client/type_text.h"

// A failed feed of one file; what() is the one-line reason (file, line,
// definition, step and the CORBA exception).  The file's transaction has
// been cancelled when it is thrown.
class FeedFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct FeedCounts {
  int created = 0;    // definitions created
  int unchanged = 0;  // definitions that were there already, identical
  int replaced = 0;   // definitions changed to what the file says
  int removed = 0;    // definitions removed because the file has no more
};

// Feeds files one at a time; keeps what it learnt about the repository
// (references of definitions, anonymous types) from one file to the
// next.  Not thread-safe.
class DefinitionFeeder {
 public:
  // With `replace`, a definition that differs from the file's is changed
  // to match it; without, such a difference fails the file.
  DefinitionFeeder(RepositorySession& session, bool replace);
  ~DefinitionFeeder();

  // Feeds the items of `tree` that belong to file `file`: every
  // definition is created, or found identical, inside one user
  // transaction that is committed at the end.  `progress` is called
  // after each definition with the number done so far.  Throws
  // FeedFailure after cancelling the transaction (a failed cancel is
  // added to its text).  `records` and `tree` must stay unchanged during
  // the call.
  FeedCounts feed_file(const IdlRecords& records, const IdlTree& tree, int file,
                       const std::function<void(int)>& progress);

 private:
  struct ChildEntry;
  struct Scope;

  // One record of the file: a definition (at `index` in the tree), the
  // end of a container, a forward declaration (which only notes the id
  // for a shell on first use).
  void process_definition(const DefRecord& d, std::size_t index);
  void process_end(const std::string& id);
  void process_forward(const DefRecord& d);

  // The children that the repository already has in `s` (loaded once).
  void load_children(Scope& s);
  ChildEntry* find_child(Scope& s, const std::string& name);
  Scope& open_scope(const DefRecord* d, CORBA::Container_ptr ref,
                    bool preexisting);

  // Creates `d` in `in` (a shell: with placeholder members or without
  // bases, to be completed later); `record_follows` when the full record
  // of `d` is still to come (a forward-declared definition used early).
  CORBA::Contained_ptr create(const DefRecord& d, Scope& in, bool shell,
                              bool record_follows);
  CORBA::Contained_ptr create_call(const DefRecord& d, Scope& in, bool shell);
  // True for a struct, union or exception that holds nested definitions
  // or names a type defined later in the file (itself included).
  bool needs_shell(const DefRecord& d, std::size_t index);
  // Creates the shell of a forward-declared definition at its first use.
  void create_pending_shell(const std::string& id);
  // Creates `d` (the record at `index`) in `s` and opens it when it is a
  // container.
  void create_new(const DefRecord& d, Scope& s, std::size_t index);
  // Destroys a definition of the repository (under --replace) and drops
  // the cached references, which may point inside it.
  void destroy(CORBA::Contained_ptr obj);
  // Sets what a shell was created without: members, discriminator,
  // initializers.
  void complete(const DefRecord& d, CORBA::Contained_ptr obj);
  // Sets the bases (and for a value its modifiers and supported
  // interfaces) where they differ from `description` (the repository's;
  // null: what a shell was created with).
  void set_header(const DefRecord& d, CORBA::Contained_ptr obj,
                  const CORBA::Any* description);
  // Sets the one field of an alias, value box or enum that differs.
  void update(const DefRecord& d, CORBA::Contained_ptr obj);

  // Comparing with what the repository has: "" when identical, else what
  // differs.
  std::string differences(const DefRecord& d, const ChildEntry& c);
  bool is_placeholder(const DefRecord& d, const ChildEntry& c);

  // The repository object of a type (anonymous ones made, and cached by
  // signature); the definition with a repository id (cached, a pending
  // shell made, else looked up; fails when the repository lacks it).
  CORBA::IDLType_ptr resolve(const TypeExpr& t);
  CORBA::Contained_ptr reference(const std::string& id);
  CORBA::TypeCode_ptr type_code_of(const TypeExpr& t);
  CORBA::StructMemberSeq struct_members(const std::vector<MemberExpr>& ms);
  CORBA::UnionMemberSeq union_members(const DefRecord& d);
  CORBA::Any* label_any(const DefRecord& d, const std::string& label);
  CORBA::Any* constant_any(const DefRecord& d);
  CORBA::ParDescriptionSeq parameters(const DefRecord& d);
  CORBA::ExceptionDefSeq exceptions(const DefRecord& d);
  CORBA::ContextIdSeq contexts(const DefRecord& d);
  CORBA::InterfaceDefSeq interfaces(const std::vector<std::string>& ids);
  CORBA::ValueDefSeq values(const std::vector<std::string>& ids);
  CORBA::InitializerSeq initializers(const DefRecord& d);
  CORBA::EnumMemberSeq enumerators(const DefRecord& d);

  void remember(const std::string& id, CORBA::Contained_ptr ref);
  void forget_transaction();
  std::string def_text(const std::string& id) const;
  [[noreturn]] void fail(const std::string& what);

  RepositorySession& session_;
  bool replace_;
  AnyCodec codec_;

  // Known references by repository id; kept across files.
  std::map<std::string, CORBA::Contained_var> known_;
  std::map<std::string, CORBA::IDLType_var> anonymous_;
  std::map<std::string, CORBA::IDLType_var> primitives_;

  // The file being fed.
  const IdlRecords* records_ = nullptr;
  const IdlTree* tree_ = nullptr;
  int file_ = 0;
  std::map<std::string, const DefRecord*> by_id_;  // records of the tree
  std::map<std::string, std::size_t> position_;    // index of full records
  std::map<std::string, std::unique_ptr<Scope>> scopes_;
  std::map<std::string, const DefRecord*> pending_;
  std::vector<std::string> transaction_ids_;  // created by this transaction
  const DefRecord* current_ = nullptr;        // for messages
  std::string step_;                          // for messages
  FeedCounts counts_;
};

#endif
