#include "client/repository_session.h"

#include "server_options.h"

std::string default_repository_url() {
  std::string endpoint = kDefaultEndpoint;  // giop:tcp:HOST:PORT
  std::string::size_type colon = endpoint.rfind(':');
  std::string port = endpoint.substr(colon + 1);
  return "corbaloc::127.0.0.1:" + port + "/InterfaceRepository";
}

bool looks_like_repository_id(const std::string& text) {
  std::string::size_type colon = text.find(':');
  if (colon == std::string::npos || colon == 0) return false;
  return text.find("::") == std::string::npos;
}

RepositorySession::RepositorySession(CORBA::ORB_ptr orb, const std::string& url)
    : orb_(orb) {
  CORBA::Object_var obj;
  if (!url.empty()) {
    where_ = url;
    obj = orb->string_to_object(url.c_str());
  } else {
    try {
      obj = orb->resolve_initial_references("InterfaceRepository");
      where_ = "the InterfaceRepository initial reference";
    } catch (const CORBA::ORB::InvalidName&) {
    } catch (const CORBA::NO_RESOURCES&) {
    }
    if (CORBA::is_nil(obj)) {
      where_ = default_repository_url();
      obj = orb->string_to_object(where_.c_str());
    }
  }
  object_ = CORBA::Object::_duplicate(obj);
  repo_ = CORBA::Repository::_unchecked_narrow(obj);
  ext_ = IRExt::Repository::_unchecked_narrow(obj);
}

void RepositorySession::connect() {
  // An operation that only a repository answers with dk_Repository (a
  // typed proxy would answer _is_a without asking); other objects raise
  // BAD_OPERATION or answer something else.
  if (CORBA::is_nil(object_)) throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
  try {
    if (repo_->def_kind() == CORBA::dk_Repository) return;
  } catch (const CORBA::BAD_OPERATION&) {
  } catch (const CORBA::OBJECT_NOT_EXIST&) {
  }
  throw CORBA::BAD_PARAM(0, CORBA::COMPLETED_NO);
}

CORBA::Contained_ptr RepositorySession::find(const std::string& name_or_id) {
  if (looks_like_repository_id(name_or_id)) {
    CORBA::Contained_var c = repo_->lookup_id(name_or_id.c_str());
    if (!CORBA::is_nil(c)) return c._retn();
  }
  std::string name = name_or_id;
  if (name.compare(0, 2, "::") != 0) name = "::" + name;
  CORBA::Contained_var c = repo_->lookup(name.c_str());
  if (CORBA::is_nil(c) && !looks_like_repository_id(name_or_id))
    c = repo_->lookup_id(name_or_id.c_str());
  return c._retn();
}
