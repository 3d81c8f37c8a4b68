#include "ir_fixture.h"

#include <cstdlib>
#include <filesystem>

#include "ir/containd.h"
#include "ir/containr.h"
#include "ir/irglob.h"
#include "ir/servant_locator.h"
#include "orb_main.h"

void IrTest::SetUp() {
  char pattern[] = "/tmp/irtest.XXXXXX";
  char* made = mkdtemp(pattern);
  ASSERT_NE(made, nullptr);
  dir_ = made;
  db_ = dir_ + "/ir.db";
  ir_poa_init(test_orb());
  OpenRepository();
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
