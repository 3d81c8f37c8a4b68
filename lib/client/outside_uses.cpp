#include "client/outside_uses.h"

#include <map>

#include "client/definition_view.h"
#include "irext.hh"

bool is_within(const std::string& name, const std::string& top) {
  if (name == top) return true;
  return name.size() > top.size() + 2 &&
         name.compare(0, top.size(), top) == 0 &&
         name.compare(top.size(), 2, "::") == 0;
}

namespace {

std::vector<OutsideUse> outside_uses_one_by_one(
    CORBA::Contained_ptr definition) {
  IRExt::Contained_var top = IRExt::Contained::_unchecked_narrow(definition);
  CORBA::String_var top_name = top->absolute_name();
  CORBA::ContainedSeq_var subtree = top->ext_get_objects_2b_deleted();
  std::vector<OutsideUse> out;
  for (CORBA::ULong i = 0; i < subtree->length(); ++i) {
    IRExt::Contained_var member =
        IRExt::Contained::_unchecked_narrow(subtree[i]);
    CORBA::ContainedSeq_var users = member->ext_get_refs_object("all");
    if (users->length() == 0) continue;
    CORBA::String_var used_id = member->id();
    CORBA::String_var used_name = member->absolute_name();
    for (CORBA::ULong j = 0; j < users->length(); ++j) {
      DefinitionSummary user = summary_of(users[j]);
      if (is_within(user.scoped_name, top_name.in())) continue;
      out.push_back(OutsideUse{user, used_id.in(), used_name.in()});
    }
  }
  return out;
}

}  // namespace

std::vector<OutsideUse> outside_uses(CORBA::Repository_ptr repository,
                                     CORBA::Contained_ptr definition) {
  IRExt::Contained_var ext = IRExt::Contained::_unchecked_narrow(definition);
  IRExt::ExtReferenceSeq_var refs;
  try {
    refs = ext->ext_outside_refs();
  } catch (const CORBA::SystemException& e) {
    if (!is_not_offered(e)) throw;
    return outside_uses_one_by_one(definition);
  }
  std::vector<OutsideUse> out;
  std::map<std::string, std::string> names;
  for (CORBA::ULong i = 0; i < refs->length(); ++i) {
    std::string used = refs[i].used.in();
    auto known = names.find(used);
    if (known == names.end()) {
      std::string name;
      CORBA::Contained_var c = repository->lookup_id(used.c_str());
      if (!CORBA::is_nil(c)) name = CORBA::String_var(c->absolute_name()).in();
      known = names.emplace(used, name).first;
    }
    out.push_back(OutsideUse{summary_of(refs[i].user), used, known->second});
  }
  return out;
}
