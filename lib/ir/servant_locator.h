// How requests reach servants.
//
// Every definition lives in one persistent POA ("IR", PERSISTENT,
// USER_ID, NON_RETAIN, USE_SERVANT_MANAGER) whose object ids are the
// records' keys ("~k<key>"), which never change and are never reused: a
// reference survives changes of id, name and container and restarts, and
// a reference to a destroyed definition names nothing for good.  Its
// servant locator finds the servant in the servant cache by key (no store
// call on a hit) or builds it from the store.  An object id that is not
// of this form and does not start with '~' is a repository id: the form
// of references made before the records had keys, still served.
// Anonymous types (primitive, string, wstring, sequence, array) get
// object ids of their own ("~p<kind>" for the shared primitives,
// "~a<serial>:<in-line form>" for the others, rebuilt from the in-line
// form when the process has forgotten them).  The repository root is
// activated in omniORB's INS POA under "InterfaceRepository" and
// "DefaultRepository" so that corbaloc URLs reach it.
//
// Threading: every upcall runs under one repository-wide recursive lock,
// taken by the locator's preinvoke (released by postinvoke) and by the
// root's own dispatch, or for a colocated call on the root by a call
// interceptor.  Colocated calls between servants come back
// on the same thread and take it again.
#ifndef IR_IR_SERVANT_LOCATOR_H
#define IR_IR_SERVANT_LOCATOR_H

#include <omniORB4/CORBA.h>

#include <cstdint>
#include <mutex>
#include <string>

#include "ir/upcall_lock.h"

class CORBA_IRObject_Impl;
class CORBA_Repository_Impl;

// The repository-wide upcall lock.
IrUpcallLock& ir_upcall_mutex();
using IrUpcallGuard = std::lock_guard<IrUpcallLock>;

// Creates the IR POA and its locator on `orb` (once per process).  From
// then on every request that reaches the process waits (in a request
// interceptor, before omniORB looks its object key up) until
// ir_poa_activate(): a request for the root before it exists would
// otherwise be told OBJECT_NOT_EXIST.  Safe to call again.
void ir_poa_init(CORBA::ORB_ptr orb);
// Lets requests through: called once the root and its store are ready.
void ir_poa_activate();
// Answers every new request with TRANSIENT (the server is going away;
// the client may retry elsewhere or later).  Requests already running
// finish.
void ir_poa_discard();
PortableServer::POA_ptr ir_poa();  // not duplicated
CORBA::ORB_ptr ir_orb();           // not duplicated

// The object id of the definition whose record has `key`.
std::string ir_key_object_id(std::int64_t key);
// The key in an object id of that form, or false.
bool ir_parse_key_object_id(const std::string& oid, std::int64_t* key);

// A reference in the IR POA with the standard repository id of `kind`.
CORBA::Object_ptr ir_make_reference(const std::string& oid,
                                    CORBA::DefinitionKind kind);
// The standard repository id of the interface of `kind`.
const char* ir_interface_repo_id(CORBA::DefinitionKind kind);

// Activates the root under the INS keys (replacing an earlier root).
void ir_activate_root(CORBA_Repository_Impl* root);
void ir_deactivate_root(CORBA_Repository_Impl* root);
// The root's reference under "InterfaceRepository", or nil when `root`
// is not the activated root.
CORBA::Object_ptr ir_root_reference(CORBA_Repository_Impl* root);

// Anonymous servants: the table holds one reference on each.
std::string ir_register_anonymous(CORBA_IRObject_Impl* servant,
                                  const std::string& inline_form);
// The servant of an anonymous object id, with one reference for the
// caller, or null.
CORBA_IRObject_Impl* ir_find_anonymous(const std::string& oid);
void ir_flush_anonymous();

// The servant for any object id of the IR POA (definition or
// anonymous), with one reference for the caller, or null.
CORBA_IRObject_Impl* ir_servant_for_oid(const std::string& oid);

#endif
