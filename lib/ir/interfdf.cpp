#include "ir/interfdf.h"

#include <cstring>

#include "ir/reposito.h"
#include "ir/servant_locator.h"

namespace {
const char kFile[] = "lib/ir/interfdf";
const char* const bi_err_msg = "CORBA::InterfaceDef::base_interfaces(...)";

// The repository id behind an interface reference of ours ("" when it is
// not one).
std::string interface_id_of(CORBA::InterfaceDef_ptr ref) {
  std::string key = ir_object_key_of(ref);
  return key.empty() || key[0] == '~' ? std::string() : key;
}
}  // namespace

CORBA_InterfaceDef_Impl::CORBA_InterfaceDef_Impl(const char* id,
                                                 const char* name,
                                                 const char* version,
                                                 const char* defined_in,
                                                 CORBA::TypeCode_ptr tc)
    : CORBA_IRObject_Impl(CORBA::dk_Interface),
      CORBA_Contained_Impl(id, name, version, defined_in),
      CORBA_IDLType_Impl(tc) {}

CORBA_InterfaceDef_Impl::CORBA_InterfaceDef_Impl(
    const char* id, const char* name, const char* version,
    CORBA_Repository_Impl* repository, const char* defined_in)
    : CORBA_IRObject_Impl(CORBA::dk_Interface),
      CORBA_Contained_Impl(id, name, version, repository, defined_in) {}

CORBA_InterfaceDef_Impl::~CORBA_InterfaceDef_Impl() = default;

CORBA_InterfaceDef_Impl* CORBA_InterfaceDef_Impl::_narrow(
    CORBA_IRObject_Impl* p) {
  return p && p->_has_kind(CORBA::dk_Interface)
             ? dynamic_cast<CORBA_InterfaceDef_Impl*>(p)
             : nullptr;
}

CORBA::InterfaceDefSeq* CORBA_InterfaceDef_Impl::base_interfaces() {
  return new CORBA::InterfaceDefSeq(bases_);
}

void CORBA_InterfaceDef_Impl::set_bases(const CORBA::InterfaceDefSeq& bases) {
  for (CORBA::ULong i = 0; i < bases_.length(); ++i) {
    std::string base = interface_id_of(bases_[i]);
    if (!base.empty()) store_->IRRemoveInherit(id_handle(), StoreHandle(base));
  }
  for (CORBA::ULong i = 0; i < bases.length(); ++i) {
    std::string base = interface_id_of(bases[i]);
    if (base.empty()) kaldBadArgument(kFile, __LINE__, bi_err_msg);
    store_->IRAddInherit(id_handle(), StoreHandle(base));
  }
  bases_ = bases;
}

void CORBA_InterfaceDef_Impl::base_interfaces(
    const CORBA::InterfaceDefSeq& seq) {
  CORBA::InterfaceDefSeq bases = seq;
  if (bases.length() == 0) {
    CORBA_Repository_Impl::init_Object_interface_ptr();
    bases.length(1);
    bases[0] = CORBA::InterfaceDef::_duplicate(Object_interface_ptr);
  }
  for (CORBA::ULong i = 0; i < bases.length(); ++i)
    if (CORBA::is_nil(bases[i]))
      kaldBadArgument(kFile, __LINE__,
                      "CORBA::InterfaceDef::base_interfaces(...)::null input");
  // A base that is this interface or already derives from it would close
  // a cycle.
  for (CORBA::ULong i = 0; i < bases.length(); ++i) {
    std::string base = interface_id_of(bases[i]);
    if (base.empty()) kaldBadArgument(kFile, __LINE__, bi_err_msg);
    bool cycle = ir_store_call(kFile, __LINE__, bi_err_msg, [&] {
      return store_->IRIsA(StoreHandle(base), own_id());
    });
    if (cycle) kaldBadArgument(kFile, __LINE__, bi_err_msg);
  }
  CORBA::InterfaceDefSeq old = bases_;
  try {
    ir_in_update(store_, kFile, __LINE__, bi_err_msg, [&](IrUpdate&) {
      set_bases(bases);
      write_record();
    });
  } catch (...) {
    bases_ = old;
    throw;
  }
}

CORBA::Boolean CORBA_InterfaceDef_Impl::is_a(const char* interface_id) {
  if (!interface_id)
    kaldBadArgument(kFile, __LINE__, "CORBA::InterfaceDef::is_a");
  return ir_store_call(kFile, __LINE__, interface_id, [&] {
    return store_->IRIsA(id_handle(), interface_id);
  });
}

CORBA::AttributeDef_ptr CORBA_InterfaceDef_Impl::create_attribute(
    const char*, const char*, const char*, CORBA::IDLType_ptr,
    CORBA::AttributeMode) {
  ir_refuse_create(kFile, __LINE__);
}

CORBA::OperationDef_ptr CORBA_InterfaceDef_Impl::create_operation(
    const char*, const char*, const char*, CORBA::IDLType_ptr,
    CORBA::OperationMode, const CORBA::ParDescriptionSeq&,
    const CORBA::ExceptionDefSeq&, const CORBA::ContextIdSeq&) {
  ir_refuse_create(kFile, __LINE__);
}

namespace {
CORBA::RepositoryIdSeq ids_of(const CORBA::InterfaceDefSeq& bases) {
  CORBA::RepositoryIdSeq ids;
  ids.length(0);
  for (CORBA::ULong i = 0; i < bases.length(); ++i) {
    std::string id = interface_id_of(bases[i]);
    if (id.empty()) continue;
    CORBA::ULong n = ids.length();
    ids.length(n + 1);
    ids[n] = id.c_str();
  }
  return ids;
}
}  // namespace

CORBA::Contained::Description* CORBA_InterfaceDef_Impl::describe() {
  CORBA::InterfaceDescription desc;
  desc.name = own_name();
  desc.id = own_id();
  desc.defined_in = described_defined_in();
  desc.version = own_version();
  desc.base_interfaces = ids_of(bases_);
  CORBA::Contained::Description_var d = new CORBA::Contained::Description;
  d->kind = def_kind_;
  d->value <<= desc;
  return d._retn();
}

CORBA::InterfaceDef::FullInterfaceDescription*
CORBA_InterfaceDef_Impl::describe_interface() {
  CORBA::InterfaceDef::FullInterfaceDescription_var full =
      new CORBA::InterfaceDef::FullInterfaceDescription;
  full->name = own_name();
  full->id = own_id();
  full->version = own_version();
  full->defined_in = described_defined_in();
  full->type = CORBA_IDLType_Impl::type();
  full->base_interfaces = ids_of(bases_);
  full->operations.length(0);
  full->attributes.length(0);
  IdList own = ir_store_call(kFile, __LINE__, own_id(), [&] {
    return store_->IRContents(id_handle(), CORBA::dk_all, true, -1);
  });
  for (const std::string& id : own) {
    Servant_ref<CORBA_Contained_Impl> s(
        ir_fetch_object(store_, id, kFile, __LINE__, id.c_str()));
    if (!s.in()) continue;
    CORBA::DefinitionKind k = s->def_kind();
    if (k != CORBA::dk_Operation && k != CORBA::dk_Attribute) continue;
    CORBA::Contained::Description_var d = s->describe();
    if (k == CORBA::dk_Operation) {
      const CORBA::OperationDescription* od;
      if (d->value >>= od) {
        CORBA::ULong n = full->operations.length();
        full->operations.length(n + 1);
        full->operations[n] = *od;
      }
    } else {
      const CORBA::AttributeDescription* ad;
      if (d->value >>= ad) {
        CORBA::ULong n = full->attributes.length();
        full->attributes.length(n + 1);
        full->attributes[n] = *ad;
      }
    }
  }
  return full._retn();
}

CORBA::InterfaceDefSeq* CORBA_InterfaceDef_Impl::ext_interface_children() {
  IdList ids = ir_store_call(kFile, __LINE__,
                             "CORBA::InterfaceDef::ext_interface_children",
                             [&] { return store_->IRDerived(id_handle()); });
  CORBA::InterfaceDefSeq_var out = new CORBA::InterfaceDefSeq;
  out->length(0);
  for (const std::string& id : ids) {
    Servant_ref<CORBA_Contained_Impl> s(
        ir_fetch_object(store_, id, kFile, __LINE__, id.c_str()));
    if (!s.in() || !s->_has_kind_container(s->def_kind())) continue;
    CORBA::ULong n = out->length();
    out->length(n + 1);
    out[n] = ir_ref_as<CORBA::InterfaceDef>(s.in());
  }
  return out._retn();
}

void CORBA_InterfaceDef_Impl::object_to_stream(Encapsulation& e) {
  CORBA_Contained_Impl::object_to_stream(e);
  e.put_ulong(bases_.length());
  for (CORBA::ULong i = 0; i < bases_.length(); ++i) {
    Servant_ref<CORBA_IRObject_Impl> s(ir_servant_of(bases_[i]));
    CORBA_Contained_Impl* c = CORBA_Contained_Impl::_narrow(s.in());
    if (!c)
      kaldError(IR_MINOR_BAD_KIND, CORBA::COMPLETED_NO, kFile, __LINE__,
                nullptr, 0, IR_MSG_STORE_OPERATION, 0, CORBA::_tc_string,
                "narrow_and_continue_streaming", 0);
    c->stream_in_line(e);
  }
}

void CORBA_InterfaceDef_Impl::stream_to_object(const char* name, const char* id,
                                               Encapsulation& e) {
  CORBA_Contained_Impl::stream_to_object(name, id, e);
  CORBA::ULong n = e.get_ulong();
  CORBA::InterfaceDefSeq bases;
  bases.length(0);
  for (CORBA::ULong i = 0; i < n; ++i) {
    CORBA::Contained_var c = get_next_contained(e, store_);
    CORBA::ULong len = bases.length();
    bases.length(len + 1);
    bases[len] = CORBA::InterfaceDef::_unchecked_narrow(c);
  }
  bases_ = bases;
  CORBA_IDLType_Impl::type(ir_orb()->create_interface_tc(own_id(), own_name()));
}

void CORBA_InterfaceDef_Impl::changeID(const char* old_id, const char* new_id) {
  int changed = 0;
  for (CORBA::ULong i = 0; i < bases_.length(); ++i) {
    if (interface_id_of(bases_[i]) != old_id) continue;
    CORBA::Object_var ref = ir_make_reference(new_id, CORBA::dk_Interface);
    bases_[i] = CORBA::InterfaceDef::_unchecked_narrow(ref);
    ++changed;
  }
  if (changed == 0)
    kaldError(IR_MINOR_NOTHING_CHANGED, CORBA::COMPLETED_NO, kFile, __LINE__,
              nullptr, 0, IR_MSG_BAD_ARGUMENT, 0, CORBA::_tc_string,
              "CORBA::InterfaceDef::changeID(...)", 0);
}

void CORBA_InterfaceDef_Impl::stream_in_line(Encapsulation& e) {
  CORBA_Contained_Impl::stream_in_line(e);
}
