#include "values/value_codec.h"

#include <omniORB4/cdrStream.h>

#include <set>

#include "values/idl_type_text.h"
#include "values/typecode_util.h"
#include "values/value_decoder.h"
#include "values/value_encoder.h"

using json = nlohmann::ordered_json;

CORBA::Any* ValueCodec::to_any(const json& value, CORBA::TypeCode_ptr tc,
                               const std::string& path) const {
  // The Any reads its TypeCode and then the value from one stream.
  cdrMemoryStream stream;
  CORBA::TypeCode::marshalTypeCode(tc, stream);
  ValueEncoder(orb_, resolver_, stream).write(value, tc, path);
  stream.clearValueTracker();
  CORBA::Any_var any = new CORBA::Any;
  any.inout() <<= stream;
  return any._retn();
}

json ValueCodec::to_json(const CORBA::Any& any, const std::string& path) const {
  cdrMemoryStream stream;
  any.NP_marshalDataOnly(stream);
  stream.clearValueTracker();
  CORBA::TypeCode_var tc = any.type();
  return ValueDecoder(orb_, resolver_, stream).read(tc, path);
}

std::string ValueCodec::type_text(CORBA::TypeCode_ptr tc) const {
  return idl_type_text(tc, resolver_);
}

namespace {

// Builds samples; `open_` holds the named types being expanded, so that
// recursive types end in an empty sequence or a null value.
class Sampler {
 public:
  json sample(CORBA::TypeCode_ptr tc) {
    CORBA::TypeCode_var t = unaliased(tc);
    switch (t->kind()) {
      case CORBA::tk_short:
      case CORBA::tk_ushort:
      case CORBA::tk_long:
      case CORBA::tk_ulong:
      case CORBA::tk_longlong:
      case CORBA::tk_ulonglong:
      case CORBA::tk_octet:
        return 0;
      case CORBA::tk_float:
      case CORBA::tk_double:
      case CORBA::tk_longdouble:
        return 0.0;
      case CORBA::tk_boolean:
        return false;
      case CORBA::tk_char:
      case CORBA::tk_wchar:
        return "a";
      case CORBA::tk_string:
      case CORBA::tk_wstring:
        return "";
      case CORBA::tk_fixed:
        return t->fixed_scale() > 0
                   ? "0." + std::string(
                                static_cast<std::size_t>(t->fixed_scale()), '0')
                   : std::string("0");
      case CORBA::tk_enum:
        return std::string(t->member_name(0));
      case CORBA::tk_struct:
      case CORBA::tk_except:
        return nested(t, [&](json& out) { members(out, t); });
      case CORBA::tk_union:
        return nested(t, [&](json& out) { union_sample(out, t); });
      case CORBA::tk_sequence: {
        CORBA::TypeCode_var element = t->content_type();
        json out = json::array();
        if (!recursive(element)) out.push_back(sample(element));
        return out;
      }
      case CORBA::tk_array: {
        CORBA::TypeCode_var element = t->content_type();
        json one = sample(element);
        return json(std::vector<json>(t->length(), one));
      }
      case CORBA::tk_any:
        return json{{"type", "long"}, {"value", 0}};
      case CORBA::tk_TypeCode:
        return "long";
      case CORBA::tk_value: {
        std::string id = t->id();
        if (recursive(t) || t->type_modifier() == CORBA::VM_ABSTRACT ||
            t->type_modifier() == CORBA::VM_CUSTOM ||
            id == "IDL:omg.org/CORBA/ValueBase:1.0")
          return nullptr;
        return nested(t, [&](json& out) { value_members(out, t); });
      }
      case CORBA::tk_value_box: {
        if (recursive(t)) return nullptr;
        CORBA::TypeCode_var content = t->content_type();
        json out;
        open_.insert(t->id());
        out = sample(content);
        open_.erase(t->id());
        return out;
      }
      default:  // object references, abstract interfaces, void
        return nullptr;
    }
  }

 private:
  template <class Fill>
  json nested(CORBA::TypeCode_ptr t, Fill fill) {
    json out = json::object();
    open_.insert(t->id());
    fill(out);
    open_.erase(t->id());
    return out;
  }

  bool recursive(CORBA::TypeCode_ptr tc) {
    CORBA::TypeCode_var t = unaliased(tc);
    return is_named_kind(t->kind()) && open_.count(t->id()) != 0;
  }

  void members(json& out, CORBA::TypeCode_ptr t) {
    for (CORBA::ULong i = 0; i < t->member_count(); ++i) {
      CORBA::TypeCode_var m = t->member_type(i);
      out[t->member_name(i)] = sample(m);
    }
  }

  void value_members(json& out, CORBA::TypeCode_ptr t) {
    CORBA::TypeCode_var base = t->concrete_base_type();
    if (!CORBA::is_nil(base) && base->kind() == CORBA::tk_value)
      value_members(out, base);
    members(out, t);
  }

  void union_sample(json& out, CORBA::TypeCode_ptr t) {
    CORBA::TypeCode_var disc_tc = t->discriminator_type();
    long long d = 0;
    if (t->default_index() == 0) {
      if (!unused_discriminator(t, &d)) d = 0;
    } else {
      CORBA::Any_var label = t->member_label(0);
      any_as_integer(label.in(), &d);
    }
    CORBA::TypeCode_var disc = unaliased(disc_tc);
    out["discriminator"] = integral_json(disc, d);
    long member = union_member_for(t, d);
    if (member >= 0) {
      CORBA::TypeCode_var mt =
          t->member_type(static_cast<CORBA::ULong>(member));
      out[t->member_name(static_cast<CORBA::ULong>(member))] = sample(mt);
    }
  }

  std::set<std::string> open_;
};

}  // namespace

json ValueCodec::sample(CORBA::TypeCode_ptr tc) const {
  return Sampler().sample(tc);
}
