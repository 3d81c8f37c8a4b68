// Error translation, the factory's dispatch table and the servant cache.
#include <gtest/gtest.h>

#include <cstring>

#include "ir/containd.h"
#include "ir/irglob.h"
#include "ir/moduledf.h"
#include "ir_fixture.h"
#include "platform/encap_iiop.h"
#include "platform/qor_log.h"

namespace {

struct ParseCase {
  int code;
  const char* exception;
  CORBA::ULong minor;
};

class ParseThrowTest : public IrTest,
                       public ::testing::WithParamInterface<ParseCase> {};

TEST_P(ParseThrowTest, StoreCodeBecomesSystemException) {
  const ParseCase& c = GetParam();
  try {
    irobj_parse_throw(c.code, "test", 1, "text");
    FAIL() << "no exception";
  } catch (const CORBA::SystemException& e) {
    EXPECT_STREQ(e._name(), c.exception) << "code " << c.code;
    EXPECT_EQ(e.minor(), c.minor) << "code " << c.code;
    EXPECT_EQ(e.completed(), CORBA::COMPLETED_NO);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Codes, ParseThrowTest,
    ::testing::Values(ParseCase{1, "BAD_PARAM", IrMinor(0x54)},
                      ParseCase{2, "INTF_REPOS", IrMinor(0x55)},
                      ParseCase{3, "INTF_REPOS", IrMinor(0x53)},
                      ParseCase{4, "INTF_REPOS", IrMinor(0x52)},
                      ParseCase{5, "PERSIST_STORE", IrMinor(0x56)},
                      ParseCase{6, "NO_MEMORY", IrMinor(0x33)},
                      ParseCase{7, "INTF_REPOS", IrMinor(0x53)},
                      ParseCase{0, "INTF_REPOS", IrMinor(0x53)},
                      ParseCase{8, "INTF_REPOS", IrMinor(0x53)},
                      ParseCase{-1, "INTF_REPOS", IrMinor(0x53)},
                      ParseCase{9, "NO_PERMISSION", 0}));

using FactoryTest = IrTest;

TEST_F(FactoryTest, RepositoryKindIsNullWithoutReport) {
  EncapIIOP empty;
  empty.put_string("1.0");
  EncapIIOP in(empty.bytes());
  EXPECT_EQ(make_object(CORBA::dk_Repository, "r", "IDL:r:1.0", in), nullptr);
}

TEST_F(FactoryTest, KindsWithoutServantClassAreRefused) {
  for (CORBA::DefinitionKind k :
       {CORBA::dk_none, CORBA::dk_all, CORBA::dk_Typedef, CORBA::dk_Primitive,
        CORBA::dk_String, CORBA::dk_Sequence, CORBA::dk_Array,
        CORBA::dk_Wstring, CORBA::dk_Fixed,
        static_cast<CORBA::DefinitionKind>(25)}) {
    EncapIIOP out;
    out.put_string("1.0");
    EncapIIOP in(out.bytes());
    SCOPED_TRACE(def_kind_name(k));
    EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53),
                 make_object(k, "x", "IDL:x:1.0", in));
    EXPECT_EQ(irobj_get_from_cache("IDL:x:1.0"), nullptr);
  }
}

TEST_F(FactoryTest, BuiltServantIsCachedAndReadsItsRecord) {
  CORBA::ModuleDef_var m = repo_->create_module("IDL:F:1.0", "F", "2.5");
  Reopen();
  EXPECT_EQ(irobj_get_from_cache("IDL:F:1.0"), nullptr);
  CORBA::Contained_var c = repo_->lookup_id("IDL:F:1.0");
  Servant_ref<CORBA_Contained_Impl> cached(irobj_get_from_cache("IDL:F:1.0"));
  ASSERT_NE(cached.in(), nullptr);
  EXPECT_STREQ(cached->own_version(), "2.5");
  EXPECT_STREQ(cached->own_defined_in(), repository_base_rep_id);
  // A second lookup finds the same servant, not a new one.
  CORBA::Contained_var again = repo_->lookup_id("IDL:F:1.0");
  Servant_ref<CORBA_Contained_Impl> same(irobj_get_from_cache("IDL:F:1.0"));
  EXPECT_EQ(same.in(), cached.in());
  // Keys are case-sensitive; a miss leaves the reference counts alone.
  CORBA::ULong before = cached->_refcount_value();
  EXPECT_EQ(irobj_get_from_cache("IDL:f:1.0"), nullptr);
  EXPECT_EQ(irobj_get_from_cache("IDL:nothing:1.0"), nullptr);
  EXPECT_EQ(cached->_refcount_value(), before);
}

TEST_F(FactoryTest, DamagedRecordIsReportedNotCrashed) {
  // A module record whose version string runs past the end.
  std::vector<std::uint8_t> body = {0, 0, 0, 0, 0xff, 0xff, 0, 0};
  EncapIIOP in(body);
  EXPECT_SYSEX(INTF_REPOS, IrMinor(0x53),
               make_object(CORBA::dk_Module, "D", "IDL:D:1.0", in));
  EXPECT_EQ(irobj_get_from_cache("IDL:D:1.0"), nullptr);
}

TEST_F(FactoryTest, MutexTracesTwoLinesPerSection) {
  QORCaptureLog(true);
  QORMutexTrace = false;
  Servant_ref<CORBA_Contained_Impl> none(irobj_get_from_cache("IDL:none:1.0"));
  EXPECT_EQ(QORTakeCapturedLog(), "");
  QORMutexTrace = true;
  Servant_ref<CORBA_Contained_Impl> again(irobj_get_from_cache("IDL:none:1.0"));
  QORMutexTrace = false;
  std::string log = QORTakeCapturedLog();
  QORCaptureLog(false);
  EXPECT_NE(log.find("Starting CS: 0x"), std::string::npos) << log;
  EXPECT_NE(log.find("Ending CS: 0x"), std::string::npos) << log;
  std::size_t lines = 0;
  for (std::size_t at = log.find("trace "); at != std::string::npos;
       at = log.find("trace ", at + 1))
    ++lines;
  EXPECT_EQ(lines, 2u) << log;
}

using RootTest = IrTest;

TEST_F(RootTest, SecondCallReturnsTheSameRoot) {
  EXPECT_EQ(CORBA_Repository_Impl::theRepository("/nonexistent/other.db"),
            root_);
}

TEST_F(RootTest, PrincipalOutsideARequestIsTheHostName) {
  CORBA::String_var who = identify_principal();
  EXPECT_STRNE(who.in(), "unknown client");
  EXPECT_GT(std::strlen(who.in()), 0u);
}

}  // namespace
