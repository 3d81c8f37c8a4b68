// Logging and tracing, on omniORB's logger: they follow -ORBtraceLevel
// and -ORBtraceFile like the ORB's own messages.
#ifndef IR_PLATFORM_QOR_LOG_H
#define IR_PLATFORM_QOR_LOG_H

#include <atomic>
#include <string>

// Method tracing (QORTraceMethod) and critical-section tracing; set at
// start-up (irserver --trace) and read without a lock.
extern std::atomic<bool> QORIRTrace;
extern std::atomic<bool> QORMutexTrace;

// Logs an error report with its source position (omniORB trace level 1
// and above).
void QORLogError(const char* file, int line, const char* text);
// Logs entry to a traced method, when QORIRTrace is set.
void QORTraceMethod(const char* file, int line, const char* sccs_id);
// Logs a trace text (the caller checks the flag that applies).
void QORTraceString(const char* file, int line, const char* sccs_id,
                    const char* text);

// Everything logged since the last call (tests only; collected only
// while capture is on).
void QORCaptureLog(bool on);
std::string QORTakeCapturedLog();

#endif
