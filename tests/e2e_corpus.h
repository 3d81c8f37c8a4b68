// The COS corpus of the end-to-end tests: every IDL file of omniORB's
// COS directory that omniidl accepts, fed into a server by irctl.
#ifndef IR_TESTS_E2E_CORPUS_H
#define IR_TESTS_E2E_CORPUS_H

#include <string>
#include <vector>

#include "e2e_server.h"

extern const char kCosDir[];      // /usr/share/idl/omniORB/COS
extern const char kOmniIdlDir[];  // /usr/share/idl/omniORB

// Every IDL file of the COS directory that omniidl accepts by itself,
// sorted; the others in `refused`.
std::vector<std::string> accepted_cos_files(std::vector<std::string>* refused);

// Feeds the corpus with the files it includes into `server` (GoogleTest
// failures when that fails); returns the file list.
std::vector<std::string> feed_corpus(const IrServerProcess& server);

#endif
