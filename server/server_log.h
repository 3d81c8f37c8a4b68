// Where irserver's log goes: standard error, or a file that irserver
// opens itself (--log) so that SIGHUP can reopen it after a rotation.
// omniORB's messages, the repository's traces and the request log all
// arrive here through omniORB's log function.  Thread-safe.
#ifndef IR_SERVER_SERVER_LOG_H
#define IR_SERVER_SERVER_LOG_H

#include <string>

// Opens `path` for appending (created with mode 0640 when absent); ""
// keeps standard error.  Returns "" or why the file cannot be opened.
std::string server_log_open(const std::string& path);

// Reopens the file under its name: a rotated log continues in a new
// file.  Returns "" or why not; the old file stays in use then.  Nothing
// to do for standard error.
std::string server_log_reopen();

// Writes one message (omniORB's log messages end with their newline).
void server_log_write(const char* message);

// Makes omniORB write its log through server_log_write.
void server_log_install();

#endif
