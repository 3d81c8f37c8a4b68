// FailingVfs: an SQLite VFS for fault-injection tests.  While one exists
// it is SQLite's default VFS: every database opened from then on (IRDB
// opens with the default) goes through it, and it passes every call to
// the VFS that was the default before, except the writes and syncs it is
// armed to fail:
//   kWriteError  the n-th write from arming fails with SQLITE_IOERR_WRITE
//   kSyncError   the n-th sync from arming fails with SQLITE_IOERR_FSYNC
//   kDiskFull    the n-th write and every write after it fail with
//                SQLITE_FULL, as on a full disk, until disarmed
// Writes and syncs of every file count: the database, its WAL and its
// journal.  Not thread-safe beyond what SQLite itself does: a test arms
// and disarms it between calls.
#ifndef IR_TESTS_FAILING_VFS_H
#define IR_TESTS_FAILING_VFS_H

#include <sqlite3.h>

#include <atomic>

class FailingVfs {
 public:
  enum Fault { kNone, kWriteError, kSyncError, kDiskFull };

  FailingVfs();
  // Restores the previous default VFS.  Databases opened through this one
  // must be closed first.
  ~FailingVfs();
  FailingVfs(const FailingVfs&) = delete;
  FailingVfs& operator=(const FailingVfs&) = delete;

  // The n-th write or sync from now (n >= 1) fails with `fault`.
  void arm(Fault fault, int n);
  void disarm();
  // True once the armed fault has happened.
  bool fired() const { return fired_; }
  // Writes and syncs seen since construction.
  int writes() const { return writes_; }
  int syncs() const { return syncs_; }

  // For the file methods: the result of a write or a sync about to be
  // made (SQLITE_OK to go on).
  int on_write();
  int on_sync();

 private:
  sqlite3_vfs vfs_;
  sqlite3_vfs* real_;
  std::atomic<int> fault_{kNone};
  std::atomic<int> countdown_{0};
  std::atomic<bool> fired_{false};
  std::atomic<int> writes_{0};
  std::atomic<int> syncs_{0};
};

#endif
