// is_a and the inherited-name checks over deep and wide inheritance: a
// chain of 50 interfaces, and one interface with 200 direct bases.  Both
// are answered by one recursive store query each, so the deepest or
// widest case should cost about what the shallow one does, not 50 or 200
// times as much.
//
// Usage: inheritance_bench [iterations]   (default 500)
// Prints the mean time per operation in microseconds.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "bench_repository.h"
#include "ir/interfdf.h"

namespace {

int iterations = 500;

double time_us(const std::function<void()>& op) {
  op();  // warm the caches
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < iterations; ++i) op();
  auto end = std::chrono::steady_clock::now();
  return std::chrono::duration<double, std::micro>(end - start).count() /
         iterations;
}

CORBA::InterfaceDef_ptr define(CORBA::Repository_ptr repo,
                               const std::string& name,
                               const CORBA::InterfaceDefSeq& bases) {
  std::string id = "IDL:" + name + ":1.0";
  CORBA::InterfaceDef_ptr itf =
      repo->create_interface(id.c_str(), name.c_str(), "1.0", bases);
  CORBA::PrimitiveDef_var v = repo->get_primitive(CORBA::pk_void);
  std::string op = "op_" + name;
  std::string op_id = "IDL:" + name + "/" + op + ":1.0";
  CORBA::OperationDef_var made =
      itf->create_operation(op_id.c_str(), op.c_str(), "1.0", v,
                            CORBA::OP_NORMAL, CORBA::ParDescriptionSeq(),
                            CORBA::ExceptionDefSeq(), CORBA::ContextIdSeq());
  return itf;
}

CORBA::InterfaceDefSeq one(CORBA::InterfaceDef_ptr base) {
  CORBA::InterfaceDefSeq seq;
  seq.length(1);
  seq[0] = CORBA::InterfaceDef::_duplicate(base);
  return seq;
}

// The servant of an interface reference (the inherited-name check is not
// an IDL operation).
CORBA_InterfaceDef_Impl* servant(CORBA::InterfaceDef_ptr itf) {
  CORBA_IRObject_Impl* s = ir_servant_of(itf);
  if (s) s->_remove_ref();  // the cache keeps it alive
  return CORBA_InterfaceDef_Impl::interface_view(s);
}

// Creating an attribute under an inherited operation's name: refused
// after the inherited-name check.
void refused_attribute(CORBA::Repository_ptr repo, CORBA::InterfaceDef_ptr itf,
                       const char* name) {
  CORBA::PrimitiveDef_var l = repo->get_primitive(CORBA::pk_long);
  try {
    CORBA::AttributeDef_var a = itf->create_attribute(
        "IDL:bench/attribute:1.0", name, "1.0", l, CORBA::ATTR_NORMAL);
    std::fprintf(stderr, "inheritance_bench: %s was not refused\n", name);
    std::exit(1);
  } catch (const CORBA::BAD_PARAM&) {
  }
}

void row(const char* what, double shallow, double deep) {
  std::printf("  %-34s %9.1f %9.1f %7.2f\n", what, shallow, deep,
              deep / shallow);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) iterations = std::max(1, std::atoi(argv[1]));
  BenchRepository bench(argv[0]);
  CORBA::Repository_var repo = CORBA::Repository::_duplicate(bench.repo());

  // A chain C0 <- C1 <- ... <- C49, each with one operation.
  const int depth = 50;
  std::vector<CORBA::InterfaceDef_var> chain;
  chain.emplace_back(define(repo, "C0", CORBA::InterfaceDefSeq()));
  for (int i = 1; i < depth; ++i)
    chain.emplace_back(
        define(repo, "C" + std::to_string(i), one(chain.back().in())));
  CORBA::InterfaceDef_ptr top = chain.back().in();
  CORBA::InterfaceDef_ptr second = chain[1].in();

  // W with 200 direct bases B0 ... B199, and N with one base.
  const int width = 200;
  CORBA::InterfaceDefSeq bases;
  bases.length(width);
  for (int i = 0; i < width; ++i)
    bases[i] = define(repo, "B" + std::to_string(i), CORBA::InterfaceDefSeq());
  CORBA::InterfaceDef_var wide = define(repo, "W", bases);
  CORBA::InterfaceDef_var narrow = define(repo, "N", one(bases[0]));

  std::printf("%d iterations; mean microseconds per operation\n", iterations);
  std::printf("  %-34s %9s %9s %7s\n", "chain of 50 (1 level vs 49)", "1 level",
              "49 levels", "ratio");
  row("is_a, found", time_us([&] { second->is_a("IDL:C0:1.0"); }),
      time_us([&] { top->is_a("IDL:C0:1.0"); }));
  row("is_a, not found", time_us([&] { second->is_a("IDL:None:1.0"); }),
      time_us([&] { top->is_a("IDL:None:1.0"); }));
  row("check_inherited_name, found", time_us([&] {
        CORBA::ContainedSeq_var s =
            servant(second)->check_inherited_name("op_C0");
      }),
      time_us([&] {
        CORBA::ContainedSeq_var s = servant(top)->check_inherited_name("op_C0");
      }));
  row("check_inherited_name, not found", time_us([&] {
        CORBA::ContainedSeq_var s = servant(second)->check_inherited_name("x");
      }),
      time_us([&] {
        CORBA::ContainedSeq_var s = servant(top)->check_inherited_name("x");
      }));
  row("create_attribute, inherited name",
      time_us([&] { refused_attribute(repo, second, "op_C0"); }),
      time_us([&] { refused_attribute(repo, top, "op_C0"); }));

  std::printf("  %-34s %9s %9s %7s\n", "wide (1 base vs 200)", "1 base",
              "200 bases", "ratio");
  row("is_a, found (last base)", time_us([&] { narrow->is_a("IDL:B0:1.0"); }),
      time_us([&] { wide->is_a("IDL:B199:1.0"); }));
  row("is_a, not found", time_us([&] { narrow->is_a("IDL:None:1.0"); }),
      time_us([&] { wide->is_a("IDL:None:1.0"); }));
  row("check_inherited_name, found", time_us([&] {
        CORBA::ContainedSeq_var s =
            servant(narrow)->check_inherited_name("op_B0");
      }),
      time_us([&] {
        CORBA::ContainedSeq_var s =
            servant(wide)->check_inherited_name("op_B199");
      }));
  row("check_inherited_name, not found", time_us([&] {
        CORBA::ContainedSeq_var s = servant(narrow)->check_inherited_name("x");
      }),
      time_us([&] {
        CORBA::ContainedSeq_var s = servant(wide)->check_inherited_name("x");
      }));
  row("create_attribute, inherited name",
      time_us([&] { refused_attribute(repo, narrow, "op_B0"); }),
      time_us([&] { refused_attribute(repo, wide, "op_B199"); }));

  chain.clear();
  wide = CORBA::InterfaceDef::_nil();
  narrow = CORBA::InterfaceDef::_nil();
  bases.length(0);
  repo = CORBA::Repository::_nil();
  return 0;
}
