// describe_interface keeps its answer between calls: every change that
// can alter it must show at once.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "ir_fixture.h"

namespace {

std::string Text(const CORBA::InterfaceDef::FullInterfaceDescription& d) {
  std::string out = std::string(d.name) + " " + d.id.in() + " " +
                    d.defined_in.in() + " " + d.version.in() + " bases:";
  for (CORBA::ULong i = 0; i < d.base_interfaces.length(); ++i)
    out += std::string(" ") + d.base_interfaces[i].in();
  for (CORBA::ULong i = 0; i < d.operations.length(); ++i) {
    const CORBA::OperationDescription& o = d.operations[i];
    out += std::string("\nop ") + o.name.in() + " " + o.id.in() + " " +
           std::to_string(o.result->kind()) + " mode " + std::to_string(o.mode);
    for (CORBA::ULong p = 0; p < o.parameters.length(); ++p)
      out += std::string(" ") + o.parameters[p].name.in() + ":" +
             std::to_string(o.parameters[p].type->kind());
  }
  for (CORBA::ULong i = 0; i < d.attributes.length(); ++i)
    out += std::string("\nattr ") + d.attributes[i].name.in() + " " +
           std::to_string(d.attributes[i].mode);
  return out;
}

class DescriptionCacheTest : public IrTest {
 protected:
  std::string Described(CORBA::InterfaceDef_ptr i) {
    CORBA::InterfaceDef::FullInterfaceDescription_var d =
        i->describe_interface();
    return Text(d.in());
  }
  // What a servant built now from the store answers.
  std::string Fresh(CORBA::InterfaceDef_ptr i) {
    root_->forget_servants();
    return Described(i);
  }
};

TEST_F(DescriptionCacheTest, EveryChangeShowsAtOnce) {
  CORBA::ModuleDef_var m = repo_->create_module("IDL:M:1.0", "M", "1.0");
  CORBA::InterfaceDef_var i =
      m->create_interface("IDL:M/I:1.0", "I", "1.0", CORBA::InterfaceDefSeq());
  CORBA::InterfaceDef_var base = Itf("Base");
  CORBA::PrimitiveDef_var lng = Prim(CORBA::pk_long);
  CORBA::PrimitiveDef_var str = Prim(CORBA::pk_string);
  CORBA::OperationDef_var op = Op(i, "op", lng);
  CORBA::AttributeDef_var at = LongAttr(i, "at");
  CORBA::OperationDef_var gone = VoidOp(i, "gone");

  struct Step {
    const char* what;
    std::function<void()> change;
    bool alters = true;  // false: it leaves the interface as it was
  };
  const Step steps[] = {
      {"new operation", [&] { CORBA::OperationDef_var(VoidOp(i, "more")); }},
      {"operation renamed", [&] { op->name("renamed"); }},
      {"operation result", [&] { op->result_def(str); }},
      {"operation mode", [&] { gone->mode(CORBA::OP_ONEWAY); }},
      {"operation params",
       [&] {
         CORBA::ParDescriptionSeq params;
         Push(params, Param("p", str, CORBA::PARAM_IN));
         op->params(params);
       }},
      {"attribute mode", [&] { at->mode(CORBA::ATTR_READONLY); }},
      {"operation destroyed", [&] { gone->destroy(); }},
      {"interface renamed", [&] { i->name("J"); }},
      {"interface id", [&] { i->id("IDL:M/J:2.0"); }},
      {"interface version", [&] { i->version("3.0"); }},
      {"container id", [&] { m->id("IDL:N:1.0"); }},
      {"bases",
       [&] {
         CORBA::InterfaceDefSeq bases;
         Append(bases, base);
         i->base_interfaces(bases);
       }},
      {"cancelled transaction",
       [&] {
         ext_->ext_beginUserTransaction();
         CORBA::OperationDef_var(VoidOp(i, "transient"));
         op->name("again");
         EXPECT_NE(Described(i).find("transient"), std::string::npos);
         ext_->ext_cancelUserTransaction();
       },
       false},
  };
  std::string before = Described(i);
  for (const Step& s : steps) {
    SCOPED_TRACE(s.what);
    EXPECT_EQ(Described(i), before);  // asked twice: the kept answer
    s.change();
    std::string now = Described(i);
    EXPECT_EQ(now != before, s.alters);
    EXPECT_EQ(now, Fresh(i));
    before = now;
  }
}

}  // namespace
