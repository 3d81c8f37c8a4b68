#include "ir_fixture.h"

#include <cstdlib>
#include <filesystem>

#include "ir/containd.h"
#include "ir/containr.h"
#include "ir/irglob.h"
#include "ir/servant_locator.h"
#include "orb_main.h"

CORBA::StructMemberSeq Fields(const Typed& list) {
  CORBA::StructMemberSeq seq;
  seq.length(static_cast<CORBA::ULong>(list.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    seq[i].name = list[i].first;
    seq[i].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    seq[i].type_def = CORBA::IDLType::_duplicate(list[i].second);
  }
  return seq;
}

CORBA::UnionMemberSeq UnionMembers(const std::vector<Arm>& list) {
  CORBA::UnionMemberSeq seq;
  seq.length(static_cast<CORBA::ULong>(list.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i) {
    seq[i].name = list[i].name;
    seq[i].label = list[i].label;
    seq[i].type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);
    seq[i].type_def = CORBA::IDLType::_duplicate(list[i].type);
  }
  return seq;
}

CORBA::EnumMemberSeq EnumMembers(const std::vector<const char*>& names) {
  CORBA::EnumMemberSeq seq;
  seq.length(static_cast<CORBA::ULong>(names.size()));
  for (CORBA::ULong i = 0; i < seq.length(); ++i)
    seq[i] = CORBA::string_dup(names[i]);
  return seq;
}

CORBA::Initializer Init(const char* name, const Typed& members) {
  CORBA::Initializer init;
  init.name = name;
  init.members = Fields(members);
  return init;
}

CORBA::ParameterDescription Param(const char* name, CORBA::IDLType_ptr type,
                                  CORBA::ParameterMode mode) {
  CORBA::ParameterDescription p;
  p.name = name;
  p.type = CORBA::TypeCode::_duplicate(CORBA::_tc_void);  // not used
  p.type_def = CORBA::IDLType::_duplicate(type);
  p.mode = mode;
  return p;
}

void IrTest::SetUp() {
  char pattern[] = "/tmp/irtest.XXXXXX";
  char* made = mkdtemp(pattern);
  ASSERT_NE(made, nullptr);
  dir_ = made;
  db_ = dir_ + "/ir.db";
  ir_poa_init(test_orb());
  OpenRepository();
  ir_poa_activate();
}

void IrTest::OpenRepository() {
  root_ = CORBA_Repository_Impl::theRepository(db_.c_str());
  CORBA::Object_var obj = root_->_ref();
  repo_ = CORBA::Repository::_narrow(obj);
  ext_ = IRExt::Repository::_narrow(obj);
}

void IrTest::CloseRepository() {
  repo_ = CORBA::Repository::_nil();
  ext_ = IRExt::Repository::_nil();
  Object_interface_ptr = CORBA::InterfaceDef::_nil();
  kaldIrGlobalObject->reset();
  root_ = nullptr;
  TransOn = false;
  dont_use_contents_cache = false;
}

void IrTest::Reopen() {
  CloseRepository();
  OpenRepository();
}

void IrTest::TearDown() {
  CloseRepository();
  std::error_code ec;
  std::filesystem::remove_all(dir_, ec);
}

CORBA::IDLType_ptr IrTest::NotAType() {
  CORBA::Contained_var m = repo_->lookup_id("IDL:NotAType:1.0");
  if (CORBA::is_nil(m))
    m = repo_->create_module("IDL:NotAType:1.0", "NotAType", "1.0");
  return CORBA::IDLType::_unchecked_narrow(m);
}

Ids IrTest::Refs(const std::string& id, const char* which) {
  IRExt::Contained_var ext = Find<IRExt::Contained>(id);
  if (CORBA::is_nil(ext)) return {"<no " + id + ">"};
  CORBA::ContainedSeq_var refs = ext->ext_get_refs_object(which);
  return IdsOf(refs.in());
}

std::string IrTest::MemberId(CORBA::Contained_ptr in, const std::string& name) {
  CORBA::String_var owner = in->name();
  return "IDL:" + std::string(owner.in()) + "/" + name + ":1.0";
}

CORBA::InterfaceDef_ptr IrTest::Itf(
    const std::string& path,
    std::initializer_list<CORBA::InterfaceDef_ptr> bases) {
  CORBA::InterfaceDefSeq seq;
  for (CORBA::InterfaceDef_ptr b : bases) Append(seq, b);
  return repo_->create_interface(Id(path).c_str(), Leaf(path).c_str(), "1.0",
                                 seq);
}

CORBA::AbstractInterfaceDef_ptr IrTest::Abstract(
    const std::string& path,
    std::initializer_list<CORBA::AbstractInterfaceDef_ptr> bases) {
  CORBA::AbstractInterfaceDefSeq seq;
  for (CORBA::AbstractInterfaceDef_ptr b : bases)
    Push(seq, CORBA::AbstractInterfaceDef::_duplicate(b));
  return repo_->create_abstract_interface(Id(path).c_str(), Leaf(path).c_str(),
                                          "1.0", seq);
}

CORBA::ValueDef_ptr IrTest::Value(const std::string& path, const ValueArgs& a,
                                  CORBA::Container_ptr in) {
  CORBA::ValueDefSeq abstracts;
  for (CORBA::ValueDef_ptr v : a.abstract_bases)
    Push(abstracts, CORBA::ValueDef::_duplicate(v));
  CORBA::InterfaceDefSeq supported;
  for (CORBA::InterfaceDef_ptr i : a.supported) Append(supported, i);
  CORBA::Container_ptr where = CORBA::is_nil(in) ? repo_.in() : in;
  return where->create_value(Id(path).c_str(), Leaf(path).c_str(), "1.0",
                             a.custom, a.abstract, a.base, a.truncatable,
                             abstracts, supported, a.initializers);
}

CORBA::StructDef_ptr IrTest::Struct(const std::string& path,
                                    const Typed& members) {
  return repo_->create_struct(Id(path).c_str(), Leaf(path).c_str(), "1.0",
                              Fields(members));
}

CORBA::ExceptionDef_ptr IrTest::Exception(const std::string& path) {
  return repo_->create_exception(Id(path).c_str(), Leaf(path).c_str(), "1.0",
                                 CORBA::StructMemberSeq());
}

void StoreFaultTest::SetUp() {
  saved_opener_ = CORBA_Repository_Impl::store_opener;
  CORBA_Repository_Impl::store_opener = [this](const char* database) {
    auto store = std::make_unique<FailingStore>(database);
    store_ = store.get();
    return std::unique_ptr<IRStore>(std::move(store));
  };
  IrTest::SetUp();
}

void StoreFaultTest::TearDown() {
  IrTest::TearDown();
  CORBA_Repository_Impl::store_opener = saved_opener_;
}

int StoreFaultTest::FailEachChangeInTurn(
    const std::function<void()>& change,
    const std::function<std::string()>& state) {
  std::string before = state();
  for (int n = 1; n < 50; ++n) {
    store_->fail_at(n);
    try {
      change();
      store_->disarm();
      return n - 1;
    } catch (const CORBA::PERSIST_STORE& e) {
      EXPECT_EQ(e.minor(), IrMinor(0x56)) << "change " << n;
    }
    store_->disarm();
    EXPECT_EQ(state(), before) << "after failing change " << n;
  }
  ADD_FAILURE() << "never succeeded";
  return -1;
}
