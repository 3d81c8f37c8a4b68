// Creating the 10,000th module in one container should cost about what
// creating the 100th does: the name check and the contents cache go
// through the store's indexes, not through a re-read of the container.
//
// Usage: create_modules_bench [count]   (default 10000)
// Prints the mean time per create_module around the 100th and around
// the last module, each averaged over a window of 50, and their ratio.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench_repository.h"

int main(int argc, char** argv) {
  int count = argc > 1 ? std::atoi(argv[1]) : 10000;
  if (count < 200) count = 200;
  BenchRepository bench(argv[0]);
  CORBA::Repository_var repo = CORBA::Repository::_duplicate(bench.repo());
  CORBA::ModuleDef_var outer =
      repo->create_module("IDL:Outer:1.0", "Outer", "1.0");

  const int window = 50;
  std::vector<double> micros(count);
  for (int i = 0; i < count; ++i) {
    std::string name = "M" + std::to_string(i);
    std::string id = "IDL:Outer/" + name + ":1.0";
    auto start = std::chrono::steady_clock::now();
    CORBA::ModuleDef_var m =
        outer->create_module(id.c_str(), name.c_str(), "1.0");
    auto end = std::chrono::steady_clock::now();
    micros[i] = std::chrono::duration<double, std::micro>(end - start).count();
  }
  auto mean = [&](int centre) {
    double sum = 0;
    for (int i = centre - window / 2; i < centre + window / 2; ++i)
      sum += micros[i];
    return sum / window;
  };
  double early = mean(100);
  double late = mean(count - window / 2);
  std::printf("create_module in one container of %d modules\n", count);
  std::printf("  around the 100th:   %8.1f us per create\n", early);
  std::printf("  around the %dth: %8.1f us per create\n", count, late);
  std::printf("  ratio last/100th:   %8.2f\n", late / early);
  CORBA::Contained_var found =
      outer->lookup(("M" + std::to_string(count - 1)).c_str());
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 1000; ++i) {
    CORBA::Contained_var f = outer->lookup("M5000");
  }
  auto end = std::chrono::steady_clock::now();
  std::printf(
      "  lookup in it:       %8.1f us per call\n",
      std::chrono::duration<double, std::micro>(end - start).count() / 1000);
  repo = CORBA::Repository::_nil();
  outer = CORBA::ModuleDef::_nil();
  return 0;
}
