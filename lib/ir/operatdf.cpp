#include "ir/operatdf.h"

#include <cstring>
#include <string>
#include <vector>

#include "ir/containr.h"
#include "ir/exceptdf.h"
#include "ir/servant_locator.h"
#include "store/store_handle.h"

namespace {
const char kFile[] = "lib/ir/operatdf";

bool is_exception(CORBA::ExceptionDef_ptr e) {
  return ir_kind_behind(e) == CORBA::dk_Exception;
}

bool valid_parameter_mode(CORBA::ParameterMode mode) {
  return static_cast<CORBA::ULong>(mode) <=
         static_cast<CORBA::ULong>(CORBA::PARAM_INOUT);
}

// The repository ids of the exceptions, in order; references that are
// not (or no longer) ours are left out.
std::vector<std::string> exception_ids(const CORBA::ExceptionDefSeq& seq) {
  std::vector<std::string> ids;
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    std::string id = ir_definition_id_of(seq[i]);
    if (!id.empty()) ids.push_back(id);
  }
  return ids;
}

void add_exception_uses(IRStore* store, const StoreHandle& user,
                        const CORBA::ExceptionDefSeq& seq) {
  for (const std::string& id : exception_ids(seq))
    store->IRAddUse(user, StoreHandle(id));
}

void remove_exception_uses(IRStore* store, const StoreHandle& user,
                           const CORBA::ExceptionDefSeq& seq) {
  for (const std::string& id : exception_ids(seq))
    store->IRRemoveUse(user, StoreHandle(id));
}

void add_parameter_uses(IRStore* store, const StoreHandle& user,
                        const CORBA::ParDescriptionSeq& params,
                        const char* text) {
  for (CORBA::ULong i = 0; i < params.length(); ++i)
    ir_add_type_use(store, user, params[i].type_def, kFile, __LINE__, text);
}

void remove_parameter_uses(IRStore* store, const StoreHandle& user,
                           const CORBA::ParDescriptionSeq& params,
                           const char* text) {
  for (CORBA::ULong i = 0; i < params.length(); ++i)
    ir_remove_type_use(store, user, params[i].type_def, kFile, __LINE__, text);
}
}  // namespace

// --- creation --------------------------------------------------------------

CORBA::OperationDef_ptr ir_create_operation(
    CORBA_Container_Impl* container, const char* container_id,
    const IrOperationTexts& texts,
    const std::function<bool(const char*)>& inherited, const char* id,
    const char* name, const char* version, CORBA::IDLType_ptr result,
    CORBA::OperationMode mode, const CORBA::ParDescriptionSeq& params,
    const CORBA::ExceptionDefSeq& exceptions,
    const CORBA::ContextIdSeq& contexts) {
  if (!id || !name || !version || CORBA::is_nil(result))
    kaldBadArgument(kFile, __LINE__, texts.null_input);
  ir_check_name_length(name, kFile, __LINE__, texts.name);
  if (static_cast<CORBA::ULong>(mode) >
      static_cast<CORBA::ULong>(CORBA::OP_ONEWAY))
    kaldBadArgument(kFile, __LINE__, texts.mode);
  for (CORBA::ULong i = 0; i < contexts.length(); ++i)
    if (!contexts[i].in() || !*contexts[i].in())
      kaldBadArgument(kFile, __LINE__, texts.contexts);
  if (!ir_is_idltype(result)) kaldBadArgument(kFile, __LINE__, texts.result);
  for (CORBA::ULong i = 0; i < exceptions.length(); ++i) {
    if (CORBA::is_nil(exceptions[i]))
      kaldBadArgument(kFile, __LINE__, texts.exceptions);
    if (!is_exception(exceptions[i]))
      kaldBadArgument(kFile, __LINE__, texts.exceptions);
  }
  for (CORBA::ULong i = 0; i < params.length(); ++i)
    if (CORBA::is_nil(params[i].type_def) ||
        !ir_is_idltype(params[i].type_def) ||
        !valid_parameter_mode(params[i].mode))
      kaldBadArgument(kFile, __LINE__, texts.params);

  IrMemberCreation how{
      texts.context, inherited, {0, texts.name}, {0, texts.name}};
  IRStore* store = container->store();
  Servant_ref<CORBA_Contained_Impl> created(ir_create_member(
      container, container_id, id, name, how,
      [&] {
        return new CORBA_OperationDef_Impl(id, name, version, container_id,
                                           result, mode, params, exceptions,
                                           contexts);
      },
      [&](CORBA_Contained_Impl* c) {
        ir_add_type_use(store, c->id_handle(), result, kFile, __LINE__,
                        texts.result);
        add_parameter_uses(store, c->id_handle(), params, texts.params);
        add_exception_uses(store, c->id_handle(), exceptions);
      }));
  return ir_ref_as<CORBA::OperationDef>(created.in());
}

// --- the servant -----------------------------------------------------------

CORBA_OperationDef_Impl::CORBA_OperationDef_Impl(
    const char* id, const char* name, const char* version,
    const char* defined_in, CORBA::IDLType_ptr result,
    CORBA::OperationMode mode, const CORBA::ParDescriptionSeq& params,
    const CORBA::ExceptionDefSeq& exceptions,
    const CORBA::ContextIdSeq& contexts)
    : CORBA_IRObject_Impl(CORBA::dk_Operation),
      CORBA_Contained_Impl(id, name, version, defined_in) {
  s_.result = ir_member_typecode(result);
  s_.result_def = CORBA::IDLType::_duplicate(result);
  s_.params = params;
  s_.mode = mode;
  s_.contexts = contexts;
  s_.exceptions = exceptions;
  fill_parameter_types();
}

CORBA_OperationDef_Impl::CORBA_OperationDef_Impl(
    const char* id, const char* name, const char* version,
    CORBA_Repository_Impl* repository, const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Operation),
      CORBA_Contained_Impl(id, name, version, repository, defined_in) {
  s_.mode = CORBA::OP_NORMAL;
}

CORBA_OperationDef_Impl::~CORBA_OperationDef_Impl() = default;

CORBA_OperationDef_Impl* CORBA_OperationDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Operation)
             ? dynamic_cast<CORBA_OperationDef_Impl*>(p)
             : nullptr;
}

void CORBA_OperationDef_Impl::id(const char* new_id) {
  CORBA_Contained_Impl::id(new_id);
  ir_forget_inherited_member(this);
}

void CORBA_OperationDef_Impl::name(const char* new_name) {
  CORBA_Contained_Impl::name(new_name);
  ir_forget_inherited_member(this);
}

void CORBA_OperationDef_Impl::fill_parameter_types() {
  for (CORBA::ULong i = 0; i < s_.params.length(); ++i)
    s_.params[i].type = ir_member_typecode(s_.params[i].type_def);
}

template <class Change>
void CORBA_OperationDef_Impl::set(const char* text, Change&& change) {
  State saved = s_;
  try {
    ir_in_update(store_, kFile, __LINE__, text, [&](IrUpdate& update) {
      store_->IRObjectOp(id_handle());
      if (change(update)) write_record();
    });
  } catch (...) {
    s_ = saved;
    throw;
  }
}

// --- getters ---------------------------------------------------------------

CORBA::TypeCode_ptr CORBA_OperationDef_Impl::result() {
  return CORBA::TypeCode::_duplicate(s_.result.in());
}

CORBA::IDLType_ptr CORBA_OperationDef_Impl::result_def() {
  return CORBA::IDLType::_duplicate(s_.result_def.in());
}

CORBA::ParDescriptionSeq* CORBA_OperationDef_Impl::params() {
  return new CORBA::ParDescriptionSeq(s_.params);
}

CORBA::OperationMode CORBA_OperationDef_Impl::mode() { return s_.mode; }

CORBA::ContextIdSeq* CORBA_OperationDef_Impl::contexts() {
  return new CORBA::ContextIdSeq(s_.contexts);
}

CORBA::ExceptionDefSeq* CORBA_OperationDef_Impl::exceptions() {
  return new CORBA::ExceptionDefSeq(s_.exceptions);
}

// --- setters ---------------------------------------------------------------

void CORBA_OperationDef_Impl::result_def(CORBA::IDLType_ptr result) {
  const char* const text = "CORBA::OperationDef::result_def(...)";
  if (CORBA::is_nil(result)) kaldBadArgument(kFile, __LINE__, text);
  if (!ir_is_idltype(result)) kaldBadArgument(kFile, __LINE__, text);
  set(text, [&](IrUpdate&) {
    ir_remove_type_use(store_, id_handle(), s_.result_def.in(), kFile, __LINE__,
                       text);
    ir_add_type_use(store_, id_handle(), result, kFile, __LINE__, text);
    s_.result_def = CORBA::IDLType::_duplicate(result);
    s_.result = ir_member_typecode(result);
    return true;
  });
}

void CORBA_OperationDef_Impl::params(const CORBA::ParDescriptionSeq& params) {
  const char* const text = "CORBA::OperationDef::params(...)";
  for (CORBA::ULong i = 0; i < params.length(); ++i)
    if (!valid_parameter_mode(params[i].mode) ||
        !ir_is_idltype(params[i].type_def))
      kaldBadArgument(kFile, __LINE__, text);
  set(text, [&](IrUpdate&) {
    remove_parameter_uses(store_, id_handle(), s_.params, text);
    add_parameter_uses(store_, id_handle(), params, text);
    s_.params = params;
    fill_parameter_types();
    return true;
  });
}

void CORBA_OperationDef_Impl::mode(CORBA::OperationMode mode) {
  const char* const text = "CORBA::OperationDef::mode(...)";
  if (static_cast<CORBA::ULong>(mode) >
      static_cast<CORBA::ULong>(CORBA::OP_ONEWAY))
    kaldBadArgument(kFile, __LINE__, text);
  set(text, [&](IrUpdate& update) {
    if (mode == s_.mode) {
      update.cancel();
      return false;
    }
    if (mode == CORBA::OP_ONEWAY) {
      // The result must be the void TypeCode object itself, as the
      // primitive void hands it out; raised exceptions and contexts do
      // not count.
      bool oneway_ok = s_.result.in() == CORBA::_tc_void;
      for (CORBA::ULong i = 0; i < s_.params.length(); ++i)
        if (s_.params[i].mode != CORBA::PARAM_IN) oneway_ok = false;
      if (!oneway_ok) {
        update.cancel();
        kaldBadArgument(kFile, __LINE__, text);
      }
    }
    s_.mode = mode;
    return true;
  });
}

void CORBA_OperationDef_Impl::contexts(const CORBA::ContextIdSeq& contexts) {
  const char* const text = "CORBA::OperationDef::contexts (...)";
  if (contexts.length() == 0) kaldBadArgument(kFile, __LINE__, text);
  for (CORBA::ULong i = 0; i < contexts.length(); ++i)
    if (!contexts[i].in() || !*contexts[i].in())
      kaldBadArgument(kFile, __LINE__, text);
  set(text, [&](IrUpdate&) {
    s_.contexts = contexts;
    return true;
  });
}

void CORBA_OperationDef_Impl::exceptions(
    const CORBA::ExceptionDefSeq& exceptions) {
  const char* const text = "CORBA::OperationDef::exceptions (...)";
  for (CORBA::ULong i = 0; i < exceptions.length(); ++i)
    if (CORBA::is_nil(exceptions[i]) || !is_exception(exceptions[i]))
      kaldBadArgument(kFile, __LINE__, text);
  set(text, [&](IrUpdate&) {
    remove_exception_uses(store_, id_handle(), s_.exceptions);
    add_exception_uses(store_, id_handle(), exceptions);
    s_.exceptions = exceptions;
    return true;
  });
}

// --- descriptions ----------------------------------------------------------

CORBA::OperationDescription CORBA_OperationDef_Impl::description() {
  CORBA::OperationDescription d;
  d.name = own_name();
  d.id = own_id();
  d.defined_in = described_defined_in();
  d.version = own_version();
  d.result = CORBA::TypeCode::_duplicate(s_.result.in());
  d.mode = s_.mode;
  d.contexts = s_.contexts;
  d.parameters = s_.params;
  d.exceptions.length(0);
  for (CORBA::ULong i = 0; i < s_.exceptions.length(); ++i) {
    // An exception is described through its own object's attributes; its
    // defined_in reads "" only when the exception sits in the root (the
    // exception's own describe() reports the root's id there).
    Servant_ref<CORBA_IRObject_Impl> s(ir_servant_of(s_.exceptions[i]));
    CORBA_ExceptionDef_Impl* e = CORBA_ExceptionDef_Impl::_narrow(s.in());
    if (!e) continue;  // destroyed since: no longer raised
    CORBA::ExceptionDescription exc;
    exc.name = e->name();
    exc.id = e->id();
    // Only the root carries the root's id.
    exc.defined_in = CORBA::string_dup(
        std::strcmp(e->own_defined_in(), repository_base_rep_id) == 0
            ? ""
            : e->own_defined_in());
    exc.version = e->version();
    exc.type = e->type();
    CORBA::ULong n = d.exceptions.length();
    d.exceptions.length(n + 1);
    d.exceptions[n] = exc;
  }
  return d;
}

CORBA::Contained::Description* CORBA_OperationDef_Impl::describe() {
  ir_store_call(kFile, __LINE__, "CORBA::OperationDef::describe",
                [&] { store_->IRObjectOp(id_handle()); });
  CORBA::Contained::Description_var d = new CORBA::Contained::Description;
  d->kind = CORBA::dk_Operation;
  d->value <<= description();
  return d._retn();
}

// --- change of id and records ----------------------------------------------

void CORBA_OperationDef_Impl::changeID(const char* old_id, const char* new_id) {
  int changed = ir_change_type_ref(s_.result_def, old_id, new_id);
  for (CORBA::ULong i = 0; i < s_.params.length(); ++i) {
    CORBA::IDLType_var type =
        CORBA::IDLType::_duplicate(s_.params[i].type_def.in());
    changed += ir_change_type_ref(type, old_id, new_id);
    s_.params[i].type_def = type._retn();
  }
  for (CORBA::ULong i = 0; i < s_.exceptions.length(); ++i) {
    if (!ir_names_changing_id(s_.exceptions[i], old_id, new_id)) continue;
    Servant_ref<CORBA_IRObject_Impl> renamed(ir_servant_for_oid(new_id));
    CORBA::Object_var ref =
        renamed.in() ? renamed->_ref()
                     : ir_make_reference(new_id, CORBA::dk_Exception);
    s_.exceptions[i] = CORBA::ExceptionDef::_unchecked_narrow(ref);
    ++changed;
  }
  if (changed == 0)
    kaldError(IR_MINOR_NOTHING_CHANGED, CORBA::COMPLETED_NO, kFile, __LINE__,
              nullptr, 0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::OperationDef::changeID(...)", 0);
  s_.result = ir_member_typecode(s_.result_def.in());
  fill_parameter_types();
}

void CORBA_OperationDef_Impl::object_to_stream(Encapsulation& e) {
  CORBA_Contained_Impl::object_to_stream(e);
  narrow_and_continue_streaming(s_.result_def.in(), e);
  e.put_ulong(s_.params.length());
  for (CORBA::ULong i = 0; i < s_.params.length(); ++i) {
    e.put_string(s_.params[i].name.in());
    narrow_and_continue_streaming(s_.params[i].type_def.in(), e);
    e.put_ulong(static_cast<CORBA::ULong>(s_.params[i].mode));
  }
  e.put_ulong(static_cast<CORBA::ULong>(s_.mode));
  e.put_ulong(s_.contexts.length());
  for (CORBA::ULong i = 0; i < s_.contexts.length(); ++i)
    e.put_string(s_.contexts[i].in());
  std::vector<std::string> ids = exception_ids(s_.exceptions);
  e.put_ulong(static_cast<CORBA::ULong>(ids.size()));
  for (const std::string& id : ids) {
    e.put_ulong(CORBA::dk_Exception);
    e.put_string(id.c_str());
  }
}

void CORBA_OperationDef_Impl::stream_to_object(const char* name, const char* id,
                                               Encapsulation& e) {
  CORBA_Contained_Impl::stream_to_object(name, id, e);
  // Values that no setter lets through mean a damaged record.
  auto damaged = [] { throw CORBA::MARSHAL(0, CORBA::COMPLETED_NO); };
  State s;
  s.result_def = get_next_object(e, store_);
  CORBA::ULong n = e.get_ulong();
  for (CORBA::ULong i = 0; i < n; ++i) {
    CORBA::String_var pname = e.get_string();
    CORBA::IDLType_var type = get_next_object(e, store_);
    CORBA::ULong mode = e.get_ulong();
    if (mode > static_cast<CORBA::ULong>(CORBA::PARAM_INOUT)) damaged();
    s.params.length(i + 1);
    s.params[i].name = pname;
    s.params[i].type_def = type._retn();
    s.params[i].mode = static_cast<CORBA::ParameterMode>(mode);
  }
  CORBA::ULong mode = e.get_ulong();
  if (mode > static_cast<CORBA::ULong>(CORBA::OP_ONEWAY)) damaged();
  s.mode = static_cast<CORBA::OperationMode>(mode);
  CORBA::ULong m = e.get_ulong();
  for (CORBA::ULong i = 0; i < m; ++i) {
    s.contexts.length(i + 1);
    s.contexts[i] = e.get_string();
  }
  CORBA::ULong k = e.get_ulong();
  s.exceptions.length(0);
  for (CORBA::ULong i = 0; i < k; ++i) {
    CORBA::Contained_var c = get_next_contained(e, store_);
    if (CORBA::is_nil(c.in())) continue;  // destroyed since
    CORBA::ULong len = s.exceptions.length();
    s.exceptions.length(len + 1);
    s.exceptions[len] = CORBA::ExceptionDef::_unchecked_narrow(c);
  }
  s_ = s;
  s_.result = ir_member_typecode(s_.result_def.in());
  fill_parameter_types();
}
