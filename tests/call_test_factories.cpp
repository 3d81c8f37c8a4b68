#include "call_test_factories.h"

#include "call_test.hh"

void register_call_test_factories(CORBA::ORB_ptr orb) {
  CORBA::ValueFactoryBase_var node = new CallTest::Node_init;
  CORBA::ValueFactoryBase_var shape = new CallTest::Shape_init;
  CORBA::ValueFactoryBase_var circle = new CallTest::Circle_init;
  CORBA::ValueFactoryBase_var square = new CallTest::Square_init;
  orb->register_value_factory(CallTest::Node::_PD_repoId, node);
  orb->register_value_factory(CallTest::Shape::_PD_repoId, shape);
  orb->register_value_factory(CallTest::Circle::_PD_repoId, circle);
  orb->register_value_factory(CallTest::Square::_PD_repoId, square);
}
