// Property test of the JSON mapping over the COS corpus: random values of
// every type that omniORB's libraries compile from
// /usr/share/idl/omniORB/COS go JSON -> Any -> CDR -> Any -> DynAny -> Any
// -> JSON and come back equal to the input.
#include <cxxabi.h>
#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <link.h>
#include <omniORB4/CORBA.h>
#include <omniORB4/cdrStream.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "orb_main.h"
#include "values/idl_type_text.h"
#include "values/text_encoding.h"
#include "values/typecode_util.h"
#include "values/value_codec.h"
#include "values_fixture.h"

using json = nlohmann::ordered_json;

namespace {

// The names of the dynamic symbols that a shared object defines.
std::vector<std::string> defined_symbols(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> file((std::istreambuf_iterator<char>(in)),
                         std::istreambuf_iterator<char>());
  std::vector<std::string> names;
  if (file.size() < sizeof(Elf64_Ehdr)) return names;
  const auto* eh = reinterpret_cast<const Elf64_Ehdr*>(file.data());
  const auto* sections =
      reinterpret_cast<const Elf64_Shdr*>(file.data() + eh->e_shoff);
  for (int i = 0; i < eh->e_shnum; ++i) {
    if (sections[i].sh_type != SHT_DYNSYM) continue;
    const Elf64_Shdr& strtab = sections[sections[i].sh_link];
    const auto* syms =
        reinterpret_cast<const Elf64_Sym*>(file.data() + sections[i].sh_offset);
    std::size_t n = sections[i].sh_size / sizeof(Elf64_Sym);
    for (std::size_t k = 0; k < n; ++k)
      if (syms[k].st_shndx != SHN_UNDEF)
        names.emplace_back(file.data() + strtab.sh_offset + syms[k].st_name);
  }
  return names;
}

std::string loaded_path(void* handle) {
  link_map* map = nullptr;
  if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || !map) return "";
  return map->l_name;
}

// "CosNaming::_tc_NameComponent" -> "::CosNaming::NameComponent"; C++
// keywords lose omniidl's "_cxx_" prefix.
std::string scoped_name_of(const std::string& demangled) {
  std::string out;
  std::size_t pos = 0;
  while (pos <= demangled.size()) {
    std::size_t end = demangled.find("::", pos);
    if (end == std::string::npos) end = demangled.size();
    std::string part = demangled.substr(pos, end - pos);
    if (part.compare(0, 4, "_tc_") == 0) part = part.substr(4);
    if (part.compare(0, 5, "_cxx_") == 0) part = part.substr(5);
    out += "::" + part;
    pos = end + 2;
  }
  return out;
}

// The COS TypeCodes that omniORB's libraries hold: CosNaming in
// libomniDynamic4, the other services in libCOSDynamic4.
MapResolver& cos_types() {
  static MapResolver* types = [] {
    auto* r = new MapResolver;
    const std::pair<const char*, const char*> kLibraries[] = {
        {"libCOSDynamic4.so.2", ""}, {"libomniDynamic4.so.2", "CosNaming::"}};
    for (const auto& lib : kLibraries) {
      void* handle = dlopen(lib.first, RTLD_NOW | RTLD_GLOBAL);
      if (!handle) continue;
      for (const std::string& symbol : defined_symbols(loaded_path(handle))) {
        if (symbol.find("_tc_") == std::string::npos) continue;
        int status = 0;
        char* demangled =
            abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status);
        if (status != 0 || !demangled) continue;
        std::string name = demangled;
        std::free(demangled);
        if (name.compare(0, std::string(lib.second).size(), lib.second) != 0)
          continue;
        void* sym = dlsym(handle, symbol.c_str());
        auto tc = *static_cast<CORBA::TypeCode_ptr*>(sym);
        if (!CORBA::is_nil(tc)) r->add(scoped_name_of(name), tc);
      }
    }
    return r;
  }();
  return *types;
}

// Random values in the canonical JSON form: what the mapping writes.
class RandomValues {
 public:
  RandomValues(unsigned seed, MapResolver& types)
      : rng_(seed), types_(types), names_(types.names()) {}

  json value(CORBA::TypeCode_ptr tc, int depth) {
    CORBA::TypeCode_var t = unaliased(tc);
    switch (t->kind()) {
      case CORBA::tk_null:
      case CORBA::tk_void:
        return nullptr;
      case CORBA::tk_short:
        return pick<long long>({-32768, 32767, 0, range(-32768, 32767)});
      case CORBA::tk_ushort:
        return pick<long long>({0, 65535, range(0, 65535)});
      case CORBA::tk_long:
        return pick<long long>(
            {-2147483648LL, 2147483647LL, range(-2147483648LL, 2147483647LL)});
      case CORBA::tk_ulong:
        return pick<long long>({0, 4294967295LL, range(0, 4294967295LL)});
      case CORBA::tk_octet:
        return range(0, 255);
      case CORBA::tk_longlong: {
        long long v = static_cast<long long>(rng_());
        if (coin()) v >>= 20;  // small enough for a JSON number
        return v > (1LL << 53) || v < -(1LL << 53) ? json(std::to_string(v))
                                                   : json(v);
      }
      case CORBA::tk_ulonglong: {
        unsigned long long v = rng_();
        if (coin()) v >>= 20;
        return v > (1ULL << 53) ? json(std::to_string(v)) : json(v);
      }
      case CORBA::tk_float: {
        if (range(0, 9) == 0) return pick<std::string>({"NaN", "Infinity"});
        float f = std::uniform_real_distribution<float>(-1e6f, 1e6f)(rng_);
        return float_as_short_double(f);
      }
      case CORBA::tk_double:
      case CORBA::tk_longdouble: {
        if (range(0, 9) == 0) return pick<std::string>({"NaN", "-Infinity"});
        return std::uniform_real_distribution<double>(-1e12, 1e12)(rng_);
      }
      case CORBA::tk_boolean:
        return coin();
      case CORBA::tk_char:
        return text({static_cast<char32_t>(range(1, 255))});
      case CORBA::tk_wchar:
        return text({static_cast<char32_t>(
            pick<long long>({range(1, 0xd7ff), range(0xe000, 0xffff), 'x'}))});
      case CORBA::tk_string:
      case CORBA::tk_wstring:
        return string(t->length(), t->kind() == CORBA::tk_wstring);
      case CORBA::tk_fixed: {
        std::string digits;
        for (int i = 0; i < t->fixed_digits(); ++i)
          digits += static_cast<char>('0' + range(0, 9));
        int scale = t->fixed_scale();
        std::string whole = digits.substr(0, digits.size() - scale);
        whole.erase(0, std::min(whole.find_first_not_of('0'), whole.size()));
        if (whole.empty()) whole = "0";
        std::string text = (coin() ? "-" : "") + whole;
        if (scale > 0) text += "." + digits.substr(digits.size() - scale);
        return text == "-0" ? "0" : text;
      }
      case CORBA::tk_enum:
        return std::string(t->member_name(
            static_cast<CORBA::ULong>(range(0, t->member_count() - 1))));
      case CORBA::tk_struct:
      case CORBA::tk_except: {
        json out = json::object();
        for (CORBA::ULong i = 0; i < t->member_count(); ++i) {
          CORBA::TypeCode_var m = t->member_type(i);
          out[t->member_name(i)] = value(m, depth + 1);
        }
        return out;
      }
      case CORBA::tk_union:
        return union_value(t, depth);
      case CORBA::tk_sequence:
      case CORBA::tk_array: {
        CORBA::TypeCode_var element = t->content_type();
        CORBA::ULong n = t->length();
        if (t->kind() == CORBA::tk_sequence) {
          long long most = depth > 3 ? 0 : 3;
          if (n && n < most) most = n;
          n = static_cast<CORBA::ULong>(range(0, most));
        }
        json out = json::array();
        for (CORBA::ULong i = 0; i < n; ++i)
          out.push_back(value(element, depth + 1));
        return out;
      }
      case CORBA::tk_any: {
        CORBA::TypeCode_var inner = some_type(depth);
        return json{{"type", idl_type_text(inner, &types_)},
                    {"value", value(inner, depth + 1)}};
      }
      case CORBA::tk_TypeCode: {
        CORBA::TypeCode_var inner = some_type(depth);
        return idl_type_text(inner, &types_);
      }
      case CORBA::tk_objref:
      case CORBA::tk_abstract_interface:
        return coin() ? json(nullptr) : json(ior());
      case CORBA::tk_value: {
        if (depth > 3 || coin()) return nullptr;
        json out = json::object();
        value_members(out, t, depth);
        return out;
      }
      case CORBA::tk_value_box: {
        if (depth > 3 || coin()) return nullptr;
        CORBA::TypeCode_var content = t->content_type();
        return value(content, depth + 1);
      }
      default:
        ADD_FAILURE() << "no random values of kind " << t->kind();
        return nullptr;
    }
  }

 private:
  long long range(long long lo, long long hi) {
    return std::uniform_int_distribution<long long>(lo, hi)(rng_);
  }
  bool coin() { return range(0, 1) == 1; }
  template <class T>
  T pick(std::vector<T> choices) {
    return choices[static_cast<std::size_t>(
        range(0, static_cast<long long>(choices.size()) - 1))];
  }

  static std::string text(const std::u32string& points) {
    std::string out;
    for (char32_t cp : points) append_utf8(out, cp);
    return out;
  }

  // ASCII, Latin-1, the rest of the BMP and beyond it, within the bound
  // (bytes of UTF-8 for string, UTF-16 units for wstring).
  json string(CORBA::ULong bound, bool wide) {
    std::u32string points;
    std::size_t size = 0;
    long long length = range(0, 8);
    for (long long i = 0; i < length; ++i) {
      char32_t cp = static_cast<char32_t>(
          pick<long long>({range(0x20, 0x7e), range(0xa0, 0xff),
                           range(0x100, 0xd7ff), range(0x10000, 0x10ffff)}));
      std::string utf8 = text({cp});
      std::size_t units = wide ? (cp > 0xffff ? 2 : 1) : utf8.size();
      if (bound && size + units > bound) break;
      size += units;
      points.push_back(cp);
    }
    return text(points);
  }

  json union_value(CORBA::TypeCode_ptr t, int depth) {
    CORBA::TypeCode_var disc_tc = t->discriminator_type();
    CORBA::TypeCode_var disc = unaliased(disc_tc);
    long long d;
    CORBA::ULong count = t->member_count();
    long member = range(0, count);  // == count: a value without a label
    if (member == static_cast<long>(count) || member == t->default_index()) {
      if (!unused_discriminator(t, &d)) member = 0;
    }
    if (member < static_cast<long>(count) && member != t->default_index()) {
      CORBA::Any_var label = t->member_label(static_cast<CORBA::ULong>(member));
      any_as_integer(label.in(), &d);
    }
    json out = json::object();
    out["discriminator"] = integral_json(disc, d);
    long selected = union_member_for(t, d);
    if (selected >= 0) {
      CORBA::TypeCode_var mt =
          t->member_type(static_cast<CORBA::ULong>(selected));
      out[t->member_name(static_cast<CORBA::ULong>(selected))] =
          value(mt, depth + 1);
    }
    return out;
  }

  void value_members(json& out, CORBA::TypeCode_ptr t, int depth) {
    CORBA::TypeCode_var base = t->concrete_base_type();
    if (!CORBA::is_nil(base) && base->kind() == CORBA::tk_value)
      value_members(out, base, depth);
    for (CORBA::ULong i = 0; i < t->member_count(); ++i) {
      CORBA::TypeCode_var m = t->member_type(i);
      out[t->member_name(i)] = value(m, depth + 1);
    }
  }

  // A type for an any or a TypeCode value: a basic one, or one of the
  // corpus (only basic ones deep down, so that values stay small).
  CORBA::TypeCode_ptr some_type(int depth) {
    const CORBA::TypeCode_ptr kBasic[] = {
        CORBA::_tc_long,    CORBA::_tc_string,    CORBA::_tc_double,
        CORBA::_tc_boolean, CORBA::_tc_ulonglong, CORBA::_tc_wstring,
        CORBA::_tc_octet,   CORBA::_tc_any};
    if (depth > 2 || coin())
      return CORBA::TypeCode::_duplicate(
          kBasic[range(0, std::size(kBasic) - (depth > 2 ? 2 : 1))]);
    return types_.find_type(pick(names_));
  }

  std::string ior() {
    static const std::string kIor = [] {
      CORBA::Object_var obj =
          test_orb()->string_to_object("corbaloc::127.0.0.1:1/Corpus");
      CORBA::String_var s = test_orb()->object_to_string(obj);
      return std::string(s.in());
    }();
    return kIor;
  }

  std::mt19937_64 rng_;
  MapResolver& types_;
  std::vector<std::string> names_;
};

// JSON -> Any -> CDR -> Any -> DynAny -> Any -> JSON.
json through_cdr_and_dyn_any(const ValueCodec& codec, const json& in,
                             CORBA::TypeCode_ptr tc,
                             DynamicAny::DynAnyFactory_ptr factory) {
  CORBA::Any_var any = codec.to_any(in, tc);
  cdrMemoryStream stream;
  any.in() >>= stream;
  stream.clearValueTracker();
  CORBA::Any back;
  back <<= stream;
  DynamicAny::DynAny_var dyn = factory->create_dyn_any(back);
  CORBA::Any_var again = dyn->to_any();
  dyn->destroy();
  return codec.to_json(again.in());
}

// Round trips `rounds` random values of every type `types` knows, and
// checks that its sample is accepted; returns the number of values
// checked.  Stops at the first failure.
int round_trip_every_type(MapResolver& types, int rounds) {
  unsigned seed = 20261123;
  if (const char* s = std::getenv("IR_VALUES_SEED")) seed = std::atoi(s);
  RandomValues random(seed, types);
  ValueCodec codec(test_orb(), &types);
  CORBA::Object_var obj =
      test_orb()->resolve_initial_references("DynAnyFactory");
  DynamicAny::DynAnyFactory_var factory =
      DynamicAny::DynAnyFactory::_narrow(obj);
  int checked = 0;
  for (const std::string& name : types.names()) {
    CORBA::TypeCode_var tc = types.find_type(name);
    // The sample that `irctl call --list` shows is a valid value too.
    try {
      CORBA::Any_var sample = codec.to_any(codec.sample(tc), tc);
    } catch (const std::exception& e) {
      ADD_FAILURE() << "sample of " << name << ": " << e.what();
    } catch (const CORBA::Exception& e) {
      ADD_FAILURE() << "sample of " << name << ": CORBA::" << e._name();
    }
    for (int round = 0; round < rounds; ++round) {
      json in = random.value(tc, 0);
      SCOPED_TRACE(name + " = " + in.dump() +
                   " (IR_VALUES_SEED=" + std::to_string(seed) + ")");
      try {
        EXPECT_EQ(through_cdr_and_dyn_any(codec, in, tc, factory), in);
        ++checked;
      } catch (const std::exception& e) {
        ADD_FAILURE() << e.what();
      } catch (const CORBA::Exception& e) {
        ADD_FAILURE() << "CORBA::" << e._name();
      }
      if (::testing::Test::HasFailure()) return checked;
    }
  }
  return checked;
}

TEST(JsonMappingCorpus, RandomValuesOfEveryCosTypeRoundTrip) {
  MapResolver& types = cos_types();
  ASSERT_GT(types.names().size(), 500u)
      << "omniORB's COS TypeCodes were not found";
  int checked = round_trip_every_type(types, 12);
  std::cout << types.names().size() << " COS types, " << checked << " values"
            << std::endl;
}

// The corpus has no wide strings, fixed types, arrays, long longs or value
// types: the call test's types have them all.
TEST(JsonMappingCorpus, RandomValuesOfEveryCallTestTypeRoundTrip) {
  int checked = round_trip_every_type(call_test_types(), 40);
  EXPECT_GT(checked, 1000);
}

}  // namespace
