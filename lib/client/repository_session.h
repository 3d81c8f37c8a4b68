// irctl's connection to one interface repository.
#ifndef IR_CLIENT_REPOSITORY_SESSION_H
#define IR_CLIENT_REPOSITORY_SESSION_H

#include <omniORB4/CORBA.h>

#include <string>

#include "irext.hh"

// The corbaloc URL of an irserver started with its defaults on this
// machine.
std::string default_repository_url();

class RepositorySession {
 public:
  // Finds the repository: `url` when not empty, else omniORB's
  // InterfaceRepository initial reference (-ORBInitRef,
  // -ORBDefaultInitRef, omniORB.cfg), else default_repository_url().
  // Does not contact it; connect() does.
  RepositorySession(CORBA::ORB_ptr orb, const std::string& url);

  // Checks that the reference answers and is a repository; throws the
  // CORBA exception of a failed call, or CORBA::BAD_PARAM when the object
  // does not exist or is no repository.
  void connect();

  // Where the repository was found, for messages.
  const std::string& where() const { return where_; }
  CORBA::ORB_ptr orb() const { return orb_; }
  CORBA::Repository_ptr repo() const { return repo_.in(); }
  IRExt::Repository_ptr ext() const { return ext_.in(); }

  // The definition named by `name_or_id`: a scoped name ("::A::B", or
  // "A::B" from the top), or a repository id (text with a ':' that is not
  // part of a "::").  Nil when the repository has no such definition.
  CORBA::Contained_ptr find(const std::string& name_or_id);

 private:
  CORBA::ORB_ptr orb_;
  std::string where_;
  CORBA::Object_var object_;
  CORBA::Repository_var repo_;
  IRExt::Repository_var ext_;
};

// True when `text` reads as a repository id rather than a scoped name.
bool looks_like_repository_id(const std::string& text);

#endif
