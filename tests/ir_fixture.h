// A fresh repository per test, on a temporary database, reached through
// real (colocated) CORBA references.
#ifndef IR_TESTS_IR_FIXTURE_H
#define IR_TESTS_IR_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "ir/reposito.h"
#include "irext.hh"

class IrTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Closes the repository and opens it again on the same database: every
  // servant is rebuilt from its record.
  void Reopen();
  // Removes the repository of the process (used by Reopen and TearDown).
  void CloseRepository();
  void OpenRepository();

  std::string dir_;
  std::string db_;
  CORBA_Repository_Impl* root_ = nullptr;
  CORBA::Repository_var repo_;
  IRExt::Repository_var ext_;
};

// The vendor minor code base + n.
constexpr CORBA::ULong IrMinor(CORBA::ULong n) { return 0x51520000UL + n; }
// The OMG minor code n.
constexpr CORBA::ULong OmgMinor(CORBA::ULong n) { return 0x4f4d0000UL | n; }

// Runs `call`, expecting the system exception `Exc` with
// `expected_minor`.
#define EXPECT_SYSEX(Exc, expected_minor, call)                         \
  do {                                                                  \
    try {                                                               \
      call;                                                             \
      ADD_FAILURE() << #call " did not raise " #Exc;                    \
    } catch (const CORBA::Exc& ex_) {                                   \
      EXPECT_EQ(ex_.minor(), static_cast<CORBA::ULong>(expected_minor)) \
          << #call " raised " #Exc " with minor 0x" << std::hex         \
          << ex_.minor();                                               \
    } catch (const CORBA::SystemException& ex_) {                       \
      ADD_FAILURE() << #call " raised " << ex_._name() << " minor 0x"   \
                    << std::hex << ex_.minor() << " instead of " #Exc;  \
    }                                                                   \
  } while (0)

#endif
