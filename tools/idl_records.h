// The definitions of parsed IDL files as irctl's omniidl back-end prints
// them (tools/backend/irctl_backend.py describes the text form), read
// into plain structures.  Nothing here talks to the repository.
#ifndef IR_TOOLS_IDL_RECORDS_H
#define IR_TOOLS_IDL_RECORDS_H

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// A type as the back-end writes it.
struct TypeExpr {
  enum Kind {
    kPrimitive,  // `name` is one of the back-end's primitive names
    kString,     // bound (0: unbounded)
    kWstring,    // bound (0: unbounded)
    kSequence,   // bound, element
    kArray,      // bound (the length), element
    kFixed,      // digits, scale
    kRef,        // `name` is the repository id of a named type
  };
  Kind kind = kPrimitive;
  std::string name;
  std::uint32_t bound = 0;
  std::uint16_t digits = 0;
  std::int16_t scale = 0;
  std::shared_ptr<const TypeExpr> element;

  // A canonical text of the type: "long", "string 0", "seq 0 (ref
  // IDL:A:1.0)", ...  Two types are the same exactly when their
  // signatures are equal; type_signature() of a TypeCode (type_text.h)
  // yields the same form.
  std::string signature() const;
  // Calls `f(id)` for every repository id that the type names.
  template <class F>
  void for_each_ref(F&& f) const {
    if (kind == kRef) f(name);
    if (element) element->for_each_ref(f);
  }
};

// A member of a struct, exception or union, a parameter of an operation
// or initializer, or an enumerator (name only).
struct MemberExpr {
  std::string name;
  TypeExpr type;
  std::string label;      // union members: "default" or an integer
  std::string direction;  // operation parameters: "in", "out", "inout"
};

struct InitializerExpr {
  std::string name;
  std::vector<MemberExpr> params;
};

enum class DefKind {
  kModule,
  kForward,
  kInterface,
  kValue,
  kValueBox,
  kStruct,
  kException,
  kUnion,
  kEnum,
  kAlias,
  kNative,
  kConst,
  kOperation,
  kAttribute,
  kValueMember,
};

// True for the kinds whose record is followed by the records of their
// contents and an end record.
bool def_kind_is_container(DefKind kind);

struct DefRecord {
  DefKind kind = DefKind::kModule;
  int file = 0;
  int line = 0;
  std::string id;
  std::string name;
  std::string container;  // "" at the top level

  // forward: "interface", "abstract_interface", "local_interface",
  // "value", "abstract_value", "struct", "union";
  // interface: "plain", "abstract", "local"
  std::string flavour;
  // interface: the bases; value: the abstract bases
  std::vector<std::string> bases;
  // value
  bool is_abstract = false;
  bool is_custom = false;
  bool is_truncatable = false;
  std::string base_value;  // "" when none
  std::vector<std::string> supports;
  std::vector<InitializerExpr> initializers;
  // alias, value box, constant, attribute, value member: the type;
  // operation: the result; union: the discriminator
  TypeExpr type;
  // struct, exception, union, operation parameters, enumerators
  std::vector<MemberExpr> members;
  std::string value;  // constant: the back-end's value token
  // operation: oneway; attribute: readonly; value member: public
  bool flag = false;
  std::vector<std::string> raises;
  std::vector<std::string> contexts;

  // The version that the repository keeps for this definition: the
  // "major.minor" at the end of an IDL-format id, else "1.0".
  std::string version() const;
};

// One line of a tree: a definition or the end of a container.
struct TreeItem {
  bool is_end = false;
  DefRecord def;       // when !is_end
  std::string end_id;  // when is_end
  int file = 0;        // the file the item belongs to (an end: its start's)
};

struct IdlFile {
  std::string path;  // as omniidl names it
  bool main = false;
  // The file as the file system knows it, for telling whether two names
  // denote one file (filled in by parse_idl).
  std::string location;
};

// What one main file parsed into.
struct IdlTree {
  int main_file = 0;
  std::vector<int> includes;  // every file whose definitions it sees
  std::vector<TreeItem> items;
};

struct IdlRecords {
  std::vector<IdlFile> files;  // indexed by file number
  std::vector<IdlTree> trees;  // in the order omniidl parsed them
};

class RecordError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Reads the output of one omniidl run of the back-end, line by line,
// into `out`, which may already hold the records of earlier runs (file
// numbers of a run are local to it and are mapped onto `out`'s).  Every
// method throws RecordError naming the line when the text is not the
// back-end's form.
class IdlRecordReader {
 public:
  explicit IdlRecordReader(IdlRecords* out) : out_(out) {}

  // Adds one line.  Returns true when the line ended a tree: the last
  // tree of `out` is then complete.
  bool add_line(const std::string& line);
  // At the end of the output: checks that nothing is left open.
  void finish();
  // The trees completed by this run.
  std::size_t trees_done() const { return trees_done_; }

 private:
  IdlRecords* out_;
  int line_no_ = 0;
  std::size_t trees_done_ = 0;
  std::map<long long, int> file_map_;
  IdlTree* tree_ = nullptr;
  std::vector<std::pair<std::string, int>> open_;  // container id, file
};

// The absolute scoped name ("::A::B") of a definition of `records`, found
// through the containers' records; ids that the records do not define
// are left as they are.
std::string scoped_name_in(const std::map<std::string, const DefRecord*>& by_id,
                           const std::string& id);

#endif
