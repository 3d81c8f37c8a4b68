#include "idl_records.h"

#include <cstdlib>
#include <sstream>

namespace {

struct KindName {
  DefKind kind;
  const char* keyword;
  bool container;
};

constexpr KindName kKinds[] = {
    {DefKind::kModule, "module", true},
    {DefKind::kForward, "forward", false},
    {DefKind::kInterface, "interface", true},
    {DefKind::kValue, "value", true},
    {DefKind::kValueBox, "valuebox", false},
    {DefKind::kStruct, "struct", true},
    {DefKind::kException, "exception", true},
    {DefKind::kUnion, "union", true},
    {DefKind::kEnum, "enum", false},
    {DefKind::kAlias, "alias", false},
    {DefKind::kNative, "native", false},
    {DefKind::kConst, "const", false},
    {DefKind::kOperation, "operation", false},
    {DefKind::kAttribute, "attribute", false},
    {DefKind::kValueMember, "valuemember", false},
};

// Splits one line into its tokens, undoing the quoting.
std::vector<std::string> split_tokens(const std::string& line) {
  std::vector<std::string> tokens;
  std::size_t i = 0;
  while (i < line.size()) {
    if (line[i] == ' ') {
      ++i;
      continue;
    }
    std::string token;
    if (line[i] != '"') {
      std::size_t end = line.find(' ', i);
      if (end == std::string::npos) end = line.size();
      tokens.push_back(line.substr(i, end - i));
      i = end;
      continue;
    }
    ++i;
    bool closed = false;
    while (i < line.size()) {
      char c = line[i++];
      if (c == '"') {
        closed = true;
        break;
      }
      if (c != '\\') {
        token += c;
        continue;
      }
      if (i >= line.size()) break;
      char e = line[i++];
      if (e == 'x' || e == 'u') {
        std::size_t digits = e == 'x' ? 2 : 4;
        if (i + digits > line.size()) throw RecordError("bad escape");
        unsigned long code =
            std::strtoul(line.substr(i, digits).c_str(), nullptr, 16);
        i += digits;
        if (code < 0x100) {
          token += static_cast<char>(code);
        } else {
          // Characters beyond Latin-1 travel as UTF-8.
          if (code < 0x800) {
            token += static_cast<char>(0xC0 | (code >> 6));
          } else {
            token += static_cast<char>(0xE0 | (code >> 12));
            token += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
          }
          token += static_cast<char>(0x80 | (code & 0x3F));
        }
      } else {
        token += e;
      }
    }
    if (!closed) throw RecordError("unterminated string");
    tokens.push_back(token);
  }
  return tokens;
}

// Reads the tokens of one record in order.
class TokenReader {
 public:
  explicit TokenReader(std::vector<std::string> tokens)
      : tokens_(std::move(tokens)) {}

  bool done() const { return pos_ >= tokens_.size(); }
  const std::string& next() {
    if (done()) throw RecordError("record ends too early");
    return tokens_[pos_++];
  }
  long long integer() {
    const std::string& t = next();
    char* end = nullptr;
    long long v = std::strtoll(t.c_str(), &end, 10);
    if (t.empty() || *end) throw RecordError("not a number: " + t);
    return v;
  }
  std::size_t count() {
    long long v = integer();
    if (v < 0 || v > 1000000) throw RecordError("bad count");
    return static_cast<std::size_t>(v);
  }
  bool flag() { return integer() != 0; }

  TypeExpr type() {
    TypeExpr t;
    const std::string& word = next();
    if (word == "string" || word == "wstring") {
      t.kind = word == "string" ? TypeExpr::kString : TypeExpr::kWstring;
      t.bound = static_cast<std::uint32_t>(integer());
    } else if (word == "seq" || word == "array") {
      t.kind = word == "seq" ? TypeExpr::kSequence : TypeExpr::kArray;
      t.bound = static_cast<std::uint32_t>(integer());
      t.element = std::make_shared<TypeExpr>(type());
    } else if (word == "fixed") {
      t.kind = TypeExpr::kFixed;
      t.digits = static_cast<std::uint16_t>(integer());
      t.scale = static_cast<std::int16_t>(integer());
    } else if (word == "ref") {
      t.kind = TypeExpr::kRef;
      t.name = next();
    } else {
      t.kind = TypeExpr::kPrimitive;
      t.name = word;
    }
    return t;
  }

  std::vector<std::string> strings() {
    std::vector<std::string> out(count());
    for (std::string& s : out) s = next();
    return out;
  }

 private:
  std::vector<std::string> tokens_;
  std::size_t pos_ = 0;
};

void read_members(TokenReader& r, bool with_label,
                  std::vector<MemberExpr>* out) {
  std::size_t n = r.count();
  for (std::size_t i = 0; i < n; ++i) {
    MemberExpr m;
    m.name = r.next();
    if (with_label) m.label = r.next();
    m.type = r.type();
    out->push_back(std::move(m));
  }
}

DefRecord read_definition(TokenReader& r) {
  DefRecord d;
  const std::string keyword = r.next();
  bool known = false;
  for (const KindName& k : kKinds) {
    if (keyword == k.keyword) {
      d.kind = k.kind;
      known = true;
    }
  }
  if (!known) throw RecordError("unknown definition kind " + keyword);
  d.file = static_cast<int>(r.integer());
  d.line = static_cast<int>(r.integer());
  d.id = r.next();
  d.name = r.next();
  d.container = r.next();
  switch (d.kind) {
    case DefKind::kModule:
    case DefKind::kNative:
      break;
    case DefKind::kForward:
      d.flavour = r.next();
      break;
    case DefKind::kInterface:
      d.flavour = r.next();
      d.bases = r.strings();
      break;
    case DefKind::kValue: {
      d.is_abstract = r.flag();
      d.is_custom = r.flag();
      d.is_truncatable = r.flag();
      d.base_value = r.next();
      d.bases = r.strings();
      d.supports = r.strings();
      std::size_t n = r.count();
      for (std::size_t i = 0; i < n; ++i) {
        InitializerExpr init;
        init.name = r.next();
        read_members(r, false, &init.params);
        d.initializers.push_back(std::move(init));
      }
      break;
    }
    case DefKind::kValueBox:
    case DefKind::kAlias:
      d.type = r.type();
      break;
    case DefKind::kStruct:
    case DefKind::kException:
      read_members(r, false, &d.members);
      break;
    case DefKind::kUnion:
      d.type = r.type();
      read_members(r, true, &d.members);
      break;
    case DefKind::kEnum:
      for (std::string& name : r.strings()) {
        MemberExpr m;
        m.name = std::move(name);
        d.members.push_back(std::move(m));
      }
      break;
    case DefKind::kConst:
      d.type = r.type();
      d.value = r.next();
      break;
    case DefKind::kOperation: {
      d.flag = r.flag();
      d.type = r.type();
      std::size_t n = r.count();
      for (std::size_t i = 0; i < n; ++i) {
        MemberExpr m;
        m.direction = r.next();
        m.name = r.next();
        m.type = r.type();
        d.members.push_back(std::move(m));
      }
      d.raises = r.strings();
      d.contexts = r.strings();
      break;
    }
    case DefKind::kAttribute:
    case DefKind::kValueMember:
      d.flag = r.flag();
      d.type = r.type();
      break;
  }
  if (!r.done()) throw RecordError("extra fields after the definition");
  return d;
}

}  // namespace

std::string TypeExpr::signature() const {
  switch (kind) {
    case kPrimitive:
      return name;
    case kString:
      return "string " + std::to_string(bound);
    case kWstring:
      return "wstring " + std::to_string(bound);
    case kSequence:
      return "seq " + std::to_string(bound) + " (" + element->signature() + ")";
    case kArray:
      return "array " + std::to_string(bound) + " (" + element->signature() +
             ")";
    case kFixed:
      return "fixed " + std::to_string(digits) + " " + std::to_string(scale);
    case kRef:
      return "ref " + name;
  }
  return std::string();
}

bool def_kind_is_container(DefKind kind) {
  for (const KindName& k : kKinds)
    if (k.kind == kind) return k.container;
  return false;
}

std::string DefRecord::version() const {
  if (id.compare(0, 4, "IDL:") == 0) {
    std::size_t colon = id.rfind(':');
    std::string v = id.substr(colon + 1);
    std::size_t dot = v.find('.');
    bool ok = colon > 3 && dot != std::string::npos && dot > 0 &&
              dot + 1 < v.size() &&
              v.find_first_not_of("0123456789.") == std::string::npos &&
              v.find('.', dot + 1) == std::string::npos;
    if (ok) return v;
  }
  return "1.0";
}

bool IdlRecordReader::add_line(const std::string& line) {
  ++line_no_;
  if (line.empty()) return false;
  auto global_file = [&](long long n) {
    auto it = file_map_.find(n);
    if (it == file_map_.end())
      throw RecordError("file number " + std::to_string(n) + " not declared");
    return it->second;
  };
  try {
    TokenReader r(split_tokens(line));
    const std::string tag = r.next();
    if (line_no_ == 1) {
      if (tag != "irctl-idl" || r.next() != "1")
        throw RecordError("not the output of irctl's back-end");
      return false;
    }
    if (tag == "F") {
      long long n = r.integer();
      IdlFile f;
      f.path = r.next();
      f.main = r.flag();
      int index = -1;
      for (std::size_t i = 0; i < out_->files.size(); ++i)
        if (out_->files[i].path == f.path) index = static_cast<int>(i);
      if (index < 0) {
        index = static_cast<int>(out_->files.size());
        out_->files.push_back(f);
      } else if (f.main) {
        out_->files[index].main = true;
      }
      file_map_[n] = index;
    } else if (tag == "T") {
      if (!open_.empty())
        throw RecordError("tree begins inside " + open_.back().first);
      if (tree_) throw RecordError("tree begins inside another tree");
      out_->trees.emplace_back();
      tree_ = &out_->trees.back();
      tree_->main_file = global_file(r.integer());
    } else if (tag == "Z") {
      if (!tree_ || global_file(r.integer()) != tree_->main_file)
        throw RecordError("end of a tree that did not begin");
      if (!open_.empty())
        throw RecordError("tree ends inside " + open_.back().first);
      tree_ = nullptr;
      ++trees_done_;
      return true;
    } else if (tag == "I") {
      if (!tree_) throw RecordError("include before any tree");
      global_file(r.integer());
      tree_->includes.push_back(global_file(r.integer()));
    } else if (tag == "D") {
      if (!tree_) throw RecordError("definition before any tree");
      TreeItem item;
      item.def = read_definition(r);
      item.def.file = global_file(item.def.file);
      item.file = item.def.file;
      if (def_kind_is_container(item.def.kind))
        open_.emplace_back(item.def.id, item.file);
      tree_->items.push_back(std::move(item));
    } else if (tag == "E") {
      if (!tree_) throw RecordError("end before any tree");
      TreeItem item;
      item.is_end = true;
      item.end_id = r.next();
      if (open_.empty() || open_.back().first != item.end_id)
        throw RecordError("end of " + item.end_id + " does not match");
      item.file = open_.back().second;
      open_.pop_back();
      tree_->items.push_back(std::move(item));
    } else {
      throw RecordError("unknown record " + tag);
    }
  } catch (const RecordError& e) {
    throw RecordError("back-end output line " + std::to_string(line_no_) +
                      ": " + e.what());
  }
  return false;
}

void IdlRecordReader::finish() {
  if (tree_) throw RecordError("back-end output ends inside a tree");
}

std::string scoped_name_in(const std::map<std::string, const DefRecord*>& by_id,
                           const std::string& id) {
  std::string name;
  std::string current = id;
  for (int depth = 0; depth < 256; ++depth) {
    auto it = by_id.find(current);
    if (it == by_id.end()) break;
    name = "::" + it->second->name + name;
    current = it->second->container;
    if (current.empty()) return name;
  }
  return name.empty() ? id : name;
}
