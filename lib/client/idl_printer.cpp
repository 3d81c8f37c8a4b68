#include "client/idl_printer.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace {

const char kObjectInterfaceId[] = "IDL:Object:1.0";

// Words that IDL reserves (compared without case, as omniidl does); a
// name that is one of them is written with a leading underscore.
const char* const kKeywords[] = {
    "abstract",  "any",        "attribute", "boolean",     "case",
    "char",      "component",  "const",     "consumes",    "context",
    "custom",    "default",    "double",    "emits",       "enum",
    "eventtype", "exception",  "factory",   "false",       "finder",
    "fixed",     "float",      "getraises", "home",        "import",
    "in",        "inout",      "interface", "local",       "long",
    "manages",   "module",     "multiple",  "native",      "object",
    "octet",     "oneway",     "out",       "primarykey",  "private",
    "provides",  "public",     "publishes", "raises",      "readonly",
    "setraises", "sequence",   "short",     "string",      "struct",
    "supports",  "switch",     "true",      "truncatable", "typedef",
    "typeid",    "typeprefix", "unsigned",  "union",       "uses",
    "valuebase", "valuetype",  "void",      "wchar",       "wstring",
};

std::string identifier(const std::string& name) {
  std::string lower = name;
  for (char& c : lower)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (const char* k : kKeywords)
    if (lower == k) return "_" + name;
  return name;
}

// "IDL:body:version" split; false for ids of other formats.
bool split_id(const std::string& id, std::string* body, std::string* version) {
  if (id.compare(0, 4, "IDL:") != 0) return false;
  std::string::size_type colon = id.rfind(':');
  if (colon < 4) return false;
  *body = id.substr(4, colon - 4);
  *version = id.substr(colon + 1);
  return true;
}

bool is_major_minor(const std::string& v) {
  std::string::size_type dot = v.find('.');
  return dot != std::string::npos && dot > 0 && dot + 1 < v.size() &&
         v.find_first_not_of("0123456789.") == std::string::npos &&
         v.find('.', dot + 1) == std::string::npos;
}

bool is_module_level(const TreeNode* n) {
  return !n->parent || n->parent->kind == CORBA::dk_Module ||
         n->parent->kind == CORBA::dk_Repository;
}

bool is_inside(const TreeNode* n, const TreeNode* ancestor) {
  for (; n; n = n->parent)
    if (n == ancestor) return true;
  return false;
}

// A definition that another one names.
struct Dep {
  std::string id;
  bool hard;  // needs the full definition (a forward one will not do)
};

void type_deps(CORBA::TypeCode_ptr tc, bool in_sequence,
               std::vector<Dep>* out) {
  switch (tc->kind()) {
    case CORBA::tk_sequence: {
      CORBA::TypeCode_var c = tc->content_type();
      type_deps(c, true, out);
      return;
    }
    case CORBA::tk_array: {
      CORBA::TypeCode_var c = tc->content_type();
      type_deps(c, in_sequence, out);
      return;
    }
    case CORBA::tk_objref:
    case CORBA::tk_abstract_interface:
    case CORBA::tk_local_interface:
    case CORBA::tk_value:
      out->push_back(Dep{tc->id(), false});
      return;
    case CORBA::tk_struct:
    case CORBA::tk_union:
      out->push_back(Dep{tc->id(), !in_sequence});
      return;
    case CORBA::tk_alias:
    case CORBA::tk_enum:
    case CORBA::tk_except:
    case CORBA::tk_value_box:
    case CORBA::tk_native:
      out->push_back(Dep{tc->id(), true});
      return;
    default:
      return;
  }
}

void member_deps(CORBA::TypeCode_ptr tc, std::vector<Dep>* out) {
  for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
    CORBA::TypeCode_var mt = tc->member_type(i);
    type_deps(mt, false, out);
  }
}

void collect_deps(const TreeNode* n, std::vector<Dep>* out) {
  const CORBA::Any& d = n->description;
  switch (n->kind) {
    case CORBA::dk_Interface:
    case CORBA::dk_AbstractInterface: {
      const CORBA::InterfaceDescription* desc = nullptr;
      if (d >>= desc)
        for (CORBA::ULong i = 0; i < desc->base_interfaces.length(); ++i)
          out->push_back(Dep{desc->base_interfaces[i].in(), true});
      break;
    }
    case CORBA::dk_Value: {
      const CORBA::ValueDescription* desc = nullptr;
      if (d >>= desc) {
        if (desc->base_value.in()[0])
          out->push_back(Dep{desc->base_value.in(), true});
        for (CORBA::ULong i = 0; i < desc->abstract_base_values.length(); ++i)
          out->push_back(Dep{desc->abstract_base_values[i].in(), true});
        for (CORBA::ULong i = 0; i < desc->supported_interfaces.length(); ++i)
          out->push_back(Dep{desc->supported_interfaces[i].in(), true});
      }
      if (n->full_value.operator->())
        for (CORBA::ULong i = 0; i < n->full_value->initializers.length(); ++i)
          for (CORBA::ULong j = 0;
               j < n->full_value->initializers[i].members.length(); ++j)
            type_deps(n->full_value->initializers[i].members[j].type, false,
                      out);
      break;
    }
    case CORBA::dk_Struct:
    case CORBA::dk_Union:
    case CORBA::dk_Alias:
    case CORBA::dk_ValueBox:
    case CORBA::dk_Enum:
    case CORBA::dk_Native: {
      const CORBA::TypeDescription* desc = nullptr;
      if (!(d >>= desc)) break;
      CORBA::TypeCode_ptr tc = desc->type.in();
      if (n->kind == CORBA::dk_Struct) {
        member_deps(tc, out);
      } else if (n->kind == CORBA::dk_Union) {
        CORBA::TypeCode_var disc = tc->discriminator_type();
        type_deps(disc, false, out);
        member_deps(tc, out);
      } else if (n->kind == CORBA::dk_Alias || n->kind == CORBA::dk_ValueBox) {
        CORBA::TypeCode_var c = tc->content_type();
        type_deps(c, false, out);
      }
      break;
    }
    case CORBA::dk_Exception: {
      const CORBA::ExceptionDescription* desc = nullptr;
      if (d >>= desc) member_deps(desc->type.in(), out);
      break;
    }
    case CORBA::dk_Constant: {
      const CORBA::ConstantDescription* desc = nullptr;
      if (d >>= desc) type_deps(desc->type.in(), false, out);
      break;
    }
    case CORBA::dk_Operation: {
      const CORBA::OperationDescription* desc = nullptr;
      if (!(d >>= desc)) break;
      type_deps(desc->result.in(), false, out);
      for (CORBA::ULong i = 0; i < desc->parameters.length(); ++i)
        type_deps(desc->parameters[i].type.in(), false, out);
      for (CORBA::ULong i = 0; i < desc->exceptions.length(); ++i)
        out->push_back(Dep{desc->exceptions[i].id.in(), true});
      break;
    }
    case CORBA::dk_Attribute: {
      const CORBA::AttributeDescription* desc = nullptr;
      if (d >>= desc) type_deps(desc->type.in(), false, out);
      break;
    }
    case CORBA::dk_ValueMember: {
      const CORBA::ValueMember* desc = nullptr;
      if (d >>= desc) type_deps(desc->type.in(), false, out);
      break;
    }
    default:
      break;
  }
  for (const auto& c : n->children) collect_deps(c.get(), out);
}

class IdlPrinter {
 public:
  IdlPrinter(RepositoryTree& tree, AnyCodec& codec)
      : tree_(tree), codec_(codec) {
    namer_ = [this](CORBA::TypeCode_ptr tc) { return scoped(tc->id()); };
  }

  std::string run() {
    open_.push_back(ScopeState{&tree_.top(), "", 0});
    choose_prefix(&tree_.top());
    print_children(tree_.top());
    goto_scope(&tree_.top());
    return out_;
  }

 private:
  // The #pragma prefix state of an open scope, as omniidl keeps it: ids
  // are "IDL:" prefix "/" the names below `base` levels ":1.0".
  struct ScopeState {
    const TreeNode* node;
    std::string prefix;
    std::size_t base;
  };

  // --- names ---------------------------------------------------------------

  std::string scoped(const std::string& id) {
    if (id == kObjectInterfaceId) return "Object";
    std::string name = tree_.scoped_name_of(id);
    if (name.empty()) return "/* unknown " + id + " */";
    std::string out;
    std::size_t pos = 0;
    while (pos < name.size()) {
      std::size_t begin = name.find_first_not_of(':', pos);
      if (begin == std::string::npos) break;
      std::size_t end = name.find("::", begin);
      if (end == std::string::npos) end = name.size();
      out += "::" + identifier(name.substr(begin, end - begin));
      pos = end;
    }
    return out;
  }

  // The name of `n` relative to the innermost open module.
  std::string relative(const TreeNode* n) const {
    std::size_t depth = open_.back().node->path.size();
    std::string out;
    for (std::size_t i = depth; i < n->path.size(); ++i)
      out += (out.empty() ? "" : "::") + identifier(n->path[i]);
    return out;
  }

  std::string enumerator(CORBA::TypeCode_ptr enum_tc, const char* name) {
    std::string type = scoped(enum_tc->id());
    std::string::size_type cut = type.rfind("::");
    return (cut == std::string::npos ? std::string() : type.substr(0, cut)) +
           "::" + identifier(name);
  }

  std::string literal(const CORBA::Any& a) {
    return codec_.literal(a, [this](CORBA::TypeCode_ptr tc, const char* e) {
      return enumerator(tc, e);
    });
  }

  // --- output --------------------------------------------------------------

  std::string indent() const {
    return std::string(2 * (open_.size() - 1), ' ');
  }

  void line(const std::string& text) { out_ += indent() + text + "\n"; }

  // --- scopes and pragmas
  // -------------------------------------------------------

  std::string expected_body(const ScopeState& s, const TreeNode* n) const {
    std::string body = s.prefix;
    for (std::size_t i = s.base; i < n->path.size(); ++i)
      body += (body.empty() ? "" : "/") + n->path[i];
    return body;
  }

  // The prefix that a #pragma prefix in the scope of `n`'s container
  // would need to give `n` its id; false when none would.
  static bool prefix_giving(const TreeNode* n, std::string* prefix) {
    std::string body, version;
    if (!split_id(n->id, &body, &version)) return false;
    if (body == n->name) {
      prefix->clear();
      return true;
    }
    std::string tail = "/" + n->name;
    if (body.size() <= tail.size() ||
        body.compare(body.size() - tail.size(), tail.size(), tail) != 0)
      return false;
    *prefix = body.substr(0, body.size() - tail.size());
    return true;
  }

  // On entering the scope of `n` (the top or a module): one #pragma prefix
  // when a prefix gives more of its definitions their ids than the
  // inherited state does.  The others get #pragma ID or version after
  // them.  The choice depends on the repository alone.
  void choose_prefix(const TreeNode* n) {
    ScopeState& s = open_.back();
    std::size_t inherited = 0;
    std::vector<std::pair<std::string, std::size_t>> counts;
    for (const auto& c : n->children) {
      if (c->id == kObjectInterfaceId) continue;
      std::string body, version;
      if (split_id(c->id, &body, &version) && body == expected_body(s, c.get()))
        ++inherited;
      std::string prefix;
      if (!prefix_giving(c.get(), &prefix)) continue;
      bool found = false;
      for (auto& entry : counts) {
        if (entry.first == prefix) {
          ++entry.second;
          found = true;
        }
      }
      if (!found) counts.emplace_back(prefix, 1);
    }
    const std::pair<std::string, std::size_t>* best = nullptr;
    for (const auto& entry : counts)
      if (!best || entry.second > best->second) best = &entry;
    if (!best || best->second <= inherited) return;
    line("#pragma prefix \"" + best->first + "\"");
    s.prefix = best->first;
    s.base = n->path.size();
  }

  // After `n` (and everything in it): #pragma ID or version for the ids
  // that the prefix state does not give.
  void id_pragmas(const TreeNode* n, const ScopeState& s) {
    std::string body, version;
    bool idl = split_id(n->id, &body, &version);
    if (idl && body == expected_body(s, n) && is_major_minor(version)) {
      if (version != "1.0")
        line("#pragma version " + relative(n) + " " + version);
    } else {
      line("#pragma ID " + relative(n) + " \"" + n->id + "\"");
    }
    for (const auto& c : n->children) id_pragmas(c.get(), s);
  }

  // Opens and closes modules so that `target` (a module or the top) is
  // the innermost open scope.
  void goto_scope(const TreeNode* target) {
    std::vector<const TreeNode*> chain;
    for (const TreeNode* n = target; n && n != &tree_.top(); n = n->parent)
      chain.push_back(n);
    std::reverse(chain.begin(), chain.end());
    std::size_t common = 0;
    while (common < chain.size() && common + 1 < open_.size() &&
           open_[common + 1].node == chain[common])
      ++common;
    while (open_.size() > common + 1) {
      open_.pop_back();
      line("};");
    }
    for (std::size_t i = common; i < chain.size(); ++i) {
      const TreeNode* m = chain[i];
      ScopeState outer = open_.back();
      line("module " + identifier(m->name) + " {");
      open_.push_back(ScopeState{m, outer.prefix, outer.base});
      std::string body, version;
      bool idl = split_id(m->id, &body, &version);
      if (!idl || body != expected_body(outer, m) || !is_major_minor(version))
        line("#pragma ID " + identifier(m->name) + " \"" + m->id + "\"");
      else if (version != "1.0")
        line("#pragma version " + identifier(m->name) + " " + version);
      choose_prefix(m);
    }
  }

  // --- order
  // -------------------------------------------------------------------

  // When the body of `n` was made: a definition created early (used
  // before its full declaration) got its contents later, and its place
  // in the text is where those were made.
  static long body_time(const TreeNode* n) {
    if (n->kind != CORBA::dk_Module && !n->children.empty() &&
        n->children.front()->seq >= 0)
      return n->children.front()->seq;
    return n->seq;
  }

  void print_children(const TreeNode& n) {
    std::vector<const TreeNode*> order;
    for (const auto& c : n.children)
      if (c->id != kObjectInterfaceId) order.push_back(c.get());
    std::stable_sort(order.begin(), order.end(),
                     [](const TreeNode* a, const TreeNode* b) {
                       return body_time(a) < body_time(b);
                     });
    for (const TreeNode* c : order) {
      if (c->kind == CORBA::dk_Module)
        print_children(*c);
      else
        print_unit(c);
    }
  }

  static const TreeNode* unit_of(const TreeNode* n) {
    while (!is_module_level(n)) n = n->parent;
    return n;
  }

  static bool forwardable(const TreeNode* n) {
    switch (n->kind) {
      case CORBA::dk_Interface:
      case CORBA::dk_AbstractInterface:
      case CORBA::dk_Value:
      case CORBA::dk_Struct:
      case CORBA::dk_Union:
        return is_module_level(n);
      default:
        return false;
    }
  }

  // True when a hard dependency of `d` is being printed: `d` cannot be
  // written in full yet.
  bool blocked(const TreeNode* d) {
    std::vector<Dep> deps;
    collect_deps(d, &deps);
    for (const Dep& dep : deps) {
      const TreeNode* t = tree_.find(dep.id);
      if (dep.hard && t && in_progress_.count(unit_of(t))) return true;
    }
    return false;
  }

  // Writes the unit `x` (a definition directly in a module or at the top)
  // after the units it needs complete.  Forward declarations go right
  // before the unit that first needs them, so that where they stand
  // follows from the order of the full definitions alone: feeding the
  // text back leaves no trace of them.
  void print_unit(const TreeNode* x) {
    if (printed_.count(x) || in_progress_.count(x)) return;
    in_progress_.insert(x);
    std::vector<Dep> deps;
    collect_deps(x, &deps);
    std::vector<const TreeNode*> forwards;
    for (const Dep& dep : deps) {
      if (dep.id == kObjectInterfaceId) continue;
      const TreeNode* d = tree_.find(dep.id);
      if (!d || is_inside(d, x)) continue;
      const TreeNode* t = unit_of(d);
      if (printed_.count(t)) continue;
      // An interface or value type may be used anywhere once declared; a
      // struct or union only inside a sequence within its own definition,
      // so those come out whole unless this is a cycle.
      bool declared_is_enough = d->kind == CORBA::dk_Interface ||
                                d->kind == CORBA::dk_AbstractInterface ||
                                d->kind == CORBA::dk_Value;
      if (forwardable(d) && !dep.hard && declared_is_enough) {
        // One with no contents is written whole at once: its place is
        // then where it was created, which feeding reproduces.
        if (d->children.empty() && !in_progress_.count(d) && !blocked(d))
          print_unit(d);
        else
          forwards.push_back(d);
        continue;
      }
      if (in_progress_.count(t)) {
        if (forwardable(d) && !dep.hard) forwards.push_back(d);
        continue;
      }
      print_unit(t);
    }
    for (const TreeNode* f : forwards)
      if (!printed_.count(f)) forward(f);
    goto_scope(x->parent);
    ScopeState state = open_.back();
    definition(x, false);
    id_pragmas(x, state);
    printed_.insert(x);
    in_progress_.erase(x);
  }

  void forward(const TreeNode* d) {
    if (forwarded_.count(d) || printed_.count(d)) return;
    forwarded_.insert(d);
    goto_scope(d->parent);
    ScopeState state = open_.back();
    std::string name = identifier(d->name);
    switch (d->kind) {
      case CORBA::dk_Interface:
        line("interface " + name + ";");
        break;
      case CORBA::dk_AbstractInterface:
        line("abstract interface " + name + ";");
        break;
      case CORBA::dk_Struct:
        line("struct " + name + ";");
        break;
      case CORBA::dk_Union:
        line("union " + name + ";");
        break;
      default: {
        const CORBA::ValueDescription* v = nullptr;
        bool abstract = (d->description >>= v) && v->is_abstract;
        line(std::string(abstract ? "abstract " : "") + "valuetype " + name +
             ";");
        break;
      }
    }
    std::string body, version;
    bool idl = split_id(d->id, &body, &version);
    if (!idl || body != expected_body(state, d) || !is_major_minor(version))
      line("#pragma ID " + relative(d) + " \"" + d->id + "\"");
  }

  // --- definitions
  // --------------------------------------------------------------

  // The child of `n` that a type names (through arrays), when it is one
  // that has not been written yet: such a nested type is written where it
  // is first used.
  const TreeNode* nested_type(const TreeNode* n, CORBA::TypeCode_ptr tc,
                              std::set<const TreeNode*>& written) {
    CORBA::TypeCode_var t = CORBA::TypeCode::_duplicate(tc);
    while (t->kind() == CORBA::tk_array) t = t->content_type();
    switch (t->kind()) {
      case CORBA::tk_struct:
      case CORBA::tk_union:
      case CORBA::tk_enum:
        break;
      default:
        return nullptr;
    }
    const TreeNode* d = tree_.find(t->id());
    if (!d || d->parent != n || written.count(d)) return nullptr;
    written.insert(d);
    return d;
  }

  // A member declaration "T name[2];", with a nested type written in
  // place of T.
  void member_line(const TreeNode* owner, CORBA::TypeCode_ptr tc,
                   const std::string& name, const std::string& lead,
                   std::set<const TreeNode*>& written) {
    if (const TreeNode* nested = nested_type(owner, tc, written)) {
      std::string dims;
      CORBA::TypeCode_var t = CORBA::TypeCode::_duplicate(tc);
      while (t->kind() == CORBA::tk_array) {
        dims += "[" + std::to_string(t->length()) + "]";
        t = t->content_type();
      }
      out_ += indent() + lead;
      definition(nested, true);
      out_ += " " + identifier(name) + dims + ";\n";
      return;
    }
    line(lead + declarator_idl(tc, identifier(name), namer_) + ";");
  }

  // Writes the definition of `n`.  Inline (a nested type used by a
  // member): the text starts at the current position and ends without
  // ";" and newline.
  void definition(const TreeNode* n, bool inline_use) {
    std::string name = identifier(n->name);
    const CORBA::Any& d = n->description;
    auto open_body = [&](const std::string& head) {
      if (inline_use)
        out_ += head + " {\n";
      else
        line(head + " {");
      open_.push_back(ScopeState{n, open_.back().prefix, open_.back().base});
    };
    auto close_body = [&] {
      open_.pop_back();
      if (inline_use)
        out_ += indent() + "}";
      else
        line("};");
    };
    std::set<const TreeNode*> written;
    switch (n->kind) {
      case CORBA::dk_Interface:
      case CORBA::dk_AbstractInterface: {
        const CORBA::InterfaceDescription* desc = nullptr;
        d >>= desc;
        std::string head =
            std::string(n->kind == CORBA::dk_AbstractInterface ? "abstract "
                                                               : "") +
            "interface " + name;
        std::string bases;
        for (CORBA::ULong i = 0; desc && i < desc->base_interfaces.length();
             ++i) {
          if (std::string(desc->base_interfaces[i].in()) == kObjectInterfaceId)
            continue;
          bases += (bases.empty() ? " : " : ", ") +
                   scoped(desc->base_interfaces[i].in());
        }
        open_body(head + bases);
        for (const auto& c : n->children) definition(c.get(), false);
        close_body();
        break;
      }
      case CORBA::dk_Value: {
        const CORBA::ValueDescription* desc = nullptr;
        d >>= desc;
        std::string head;
        if (desc && desc->is_abstract) head += "abstract ";
        if (desc && desc->is_custom) head += "custom ";
        head += "valuetype " + name;
        std::string inherits;
        if (desc && desc->base_value.in()[0])
          inherits = std::string(desc->is_truncatable ? "truncatable " : "") +
                     scoped(desc->base_value.in());
        for (CORBA::ULong i = 0;
             desc && i < desc->abstract_base_values.length(); ++i)
          inherits += (inherits.empty() ? "" : ", ") +
                      scoped(desc->abstract_base_values[i].in());
        if (!inherits.empty()) head += " : " + inherits;
        std::string supports;
        for (CORBA::ULong i = 0;
             desc && i < desc->supported_interfaces.length(); ++i)
          supports += (supports.empty() ? "" : ", ") +
                      scoped(desc->supported_interfaces[i].in());
        if (!supports.empty()) head += " supports " + supports;
        open_body(head);
        for (const auto& c : n->children) {
          if (c->kind != CORBA::dk_ValueMember) {
            definition(c.get(), false);
            continue;
          }
          const CORBA::ValueMember* m = nullptr;
          c->description >>= m;
          if (!m) continue;
          member_line(
              n, m->type.in(), c->name,
              m->access == CORBA::PUBLIC_MEMBER ? "public " : "private ",
              written);
        }
        if (n->full_value.operator->()) {
          for (CORBA::ULong i = 0; i < n->full_value->initializers.length();
               ++i) {
            const CORBA::Initializer& init = n->full_value->initializers[i];
            std::string params;
            for (CORBA::ULong j = 0; j < init.members.length(); ++j)
              params +=
                  std::string(j ? ", " : "") + "in " +
                  declarator_idl(init.members[j].type.in(),
                                 identifier(init.members[j].name.in()), namer_);
            line("factory " + identifier(init.name.in()) + "(" + params + ");");
          }
        }
        close_body();
        break;
      }
      case CORBA::dk_Struct:
      case CORBA::dk_Exception: {
        CORBA::TypeCode_ptr tc = nullptr;
        const CORBA::TypeDescription* td = nullptr;
        const CORBA::ExceptionDescription* ed = nullptr;
        if (n->kind == CORBA::dk_Struct && (d >>= td)) tc = td->type.in();
        if (n->kind == CORBA::dk_Exception && (d >>= ed)) tc = ed->type.in();
        open_body(std::string(n->kind == CORBA::dk_Struct ? "struct "
                                                          : "exception ") +
                  name);
        for (CORBA::ULong i = 0; tc && i < tc->member_count(); ++i) {
          CORBA::TypeCode_var mt = tc->member_type(i);
          member_line(n, mt, tc->member_name(i), "", written);
        }
        close_body();
        break;
      }
      case CORBA::dk_Union: {
        const CORBA::TypeDescription* td = nullptr;
        if (!(d >>= td)) break;
        CORBA::TypeCode_ptr tc = td->type.in();
        CORBA::TypeCode_var disc = tc->discriminator_type();
        std::string head = "union " + name + " switch (";
        if (const TreeNode* nested = nested_type(n, disc, written)) {
          if (inline_use)
            out_ += head;
          else
            out_ += indent() + head;
          open_.push_back(
              ScopeState{n, open_.back().prefix, open_.back().base});
          definition(nested, true);
          open_.pop_back();
          out_ += ") {\n";
          open_.push_back(
              ScopeState{n, open_.back().prefix, open_.back().base});
        } else {
          open_body(head + type_idl(disc, namer_) + ")");
        }
        CORBA::Long def = tc->default_index();
        for (CORBA::ULong i = 0; i < tc->member_count(); ++i) {
          std::string label;
          if (static_cast<CORBA::Long>(i) == def) {
            label = "default:";
          } else {
            CORBA::Any_var l = tc->member_label(i);
            label = "case " + literal(l.in()) + ":";
          }
          bool last_of_case =
              i + 1 == tc->member_count() ||
              std::string(tc->member_name(i)) != tc->member_name(i + 1);
          if (!last_of_case) {
            line(label);
            continue;
          }
          CORBA::TypeCode_var mt = tc->member_type(i);
          member_line(n, mt, tc->member_name(i), label + " ", written);
        }
        close_body();
        break;
      }
      case CORBA::dk_Enum: {
        const CORBA::TypeDescription* td = nullptr;
        if (!(d >>= td)) break;
        CORBA::TypeCode_ptr tc = td->type.in();
        std::string text = "enum " + name + " {";
        for (CORBA::ULong i = 0; i < tc->member_count(); ++i)
          text += std::string(i ? ", " : " ") + identifier(tc->member_name(i));
        text += " }";
        if (inline_use)
          out_ += text;
        else
          line(text + ";");
        break;
      }
      case CORBA::dk_Alias: {
        const CORBA::TypeDescription* td = nullptr;
        if (!(d >>= td)) break;
        CORBA::TypeCode_var content = td->type->content_type();
        line("typedef " + declarator_idl(content, name, namer_) + ";");
        break;
      }
      case CORBA::dk_ValueBox: {
        const CORBA::TypeDescription* td = nullptr;
        if (!(d >>= td)) break;
        CORBA::TypeCode_var content = td->type->content_type();
        line("valuetype " + name + " " + type_idl(content, namer_) + ";");
        break;
      }
      case CORBA::dk_Native:
        line("native " + name + ";");
        break;
      case CORBA::dk_Constant: {
        const CORBA::ConstantDescription* cd = nullptr;
        if (!(d >>= cd)) break;
        line("const " + type_idl(cd->type.in(), namer_) + " " + name + " = " +
             literal(cd->value) + ";");
        break;
      }
      case CORBA::dk_Attribute: {
        const CORBA::AttributeDescription* ad = nullptr;
        if (!(d >>= ad)) break;
        line(std::string(ad->mode == CORBA::ATTR_READONLY ? "readonly " : "") +
             "attribute " + declarator_idl(ad->type.in(), name, namer_) + ";");
        break;
      }
      case CORBA::dk_Operation: {
        const CORBA::OperationDescription* od = nullptr;
        if (!(d >>= od)) break;
        std::string text = od->mode == CORBA::OP_ONEWAY ? "oneway " : "";
        text += type_idl(od->result.in(), namer_) + " " + name + "(";
        static const char* const kModes[] = {"in ", "out ", "inout "};
        for (CORBA::ULong i = 0; i < od->parameters.length(); ++i) {
          const CORBA::ParameterDescription& p = od->parameters[i];
          text += std::string(i ? ", " : "") + kModes[p.mode] +
                  type_idl(p.type.in(), namer_) + " " + identifier(p.name.in());
        }
        text += ")";
        if (od->exceptions.length()) {
          text += " raises (";
          for (CORBA::ULong i = 0; i < od->exceptions.length(); ++i)
            text +=
                std::string(i ? ", " : "") + scoped(od->exceptions[i].id.in());
          text += ")";
        }
        if (od->contexts.length()) {
          text += " context (";
          for (CORBA::ULong i = 0; i < od->contexts.length(); ++i)
            text +=
                std::string(i ? ", " : "") + "\"" + od->contexts[i].in() + "\"";
          text += ")";
        }
        line(text + ";");
        break;
      }
      default:
        line("/* " + n->scoped_name() + ": a definition IDL cannot express */");
        break;
    }
  }

  RepositoryTree& tree_;
  AnyCodec& codec_;
  TypeNamer namer_;
  std::string out_;
  std::vector<ScopeState> open_;
  std::set<const TreeNode*> printed_;
  std::set<const TreeNode*> in_progress_;
  std::set<const TreeNode*> forwarded_;
};

}  // namespace

std::vector<std::string> dependency_ids(const TreeNode& node) {
  std::vector<Dep> deps;
  collect_deps(&node, &deps);
  std::vector<std::string> ids;
  for (const Dep& d : deps) ids.push_back(d.id);
  return ids;
}

std::string print_idl(RepositoryTree& tree, AnyCodec& codec) {
  IdlPrinter printer(tree, codec);
  return printer.run();
}
