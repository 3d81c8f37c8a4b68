#include "failing_vfs.h"

#include <cstring>

namespace {

// A file of the failing VFS: our methods, then the real file's own
// structure (szOsFile of the real VFS) right behind.
struct ShimFile {
  sqlite3_file base;
  FailingVfs* owner;
  sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

ShimFile* shim(sqlite3_file* f) { return reinterpret_cast<ShimFile*>(f); }
sqlite3_file* real(sqlite3_file* f) { return shim(f)->real(); }

int Close(sqlite3_file* f) {
  sqlite3_file* r = real(f);
  return r->pMethods ? r->pMethods->xClose(r) : SQLITE_OK;
}
int Read(sqlite3_file* f, void* buf, int n, sqlite3_int64 off) {
  return real(f)->pMethods->xRead(real(f), buf, n, off);
}
int Write(sqlite3_file* f, const void* buf, int n, sqlite3_int64 off) {
  int rc = shim(f)->owner->on_write();
  if (rc != SQLITE_OK) return rc;
  return real(f)->pMethods->xWrite(real(f), buf, n, off);
}
int Truncate(sqlite3_file* f, sqlite3_int64 size) {
  return real(f)->pMethods->xTruncate(real(f), size);
}
int Sync(sqlite3_file* f, int flags) {
  int rc = shim(f)->owner->on_sync();
  if (rc != SQLITE_OK) return rc;
  return real(f)->pMethods->xSync(real(f), flags);
}
int FileSize(sqlite3_file* f, sqlite3_int64* size) {
  return real(f)->pMethods->xFileSize(real(f), size);
}
int Lock(sqlite3_file* f, int level) {
  return real(f)->pMethods->xLock(real(f), level);
}
int Unlock(sqlite3_file* f, int level) {
  return real(f)->pMethods->xUnlock(real(f), level);
}
int CheckReservedLock(sqlite3_file* f, int* out) {
  return real(f)->pMethods->xCheckReservedLock(real(f), out);
}
int FileControl(sqlite3_file* f, int op, void* arg) {
  return real(f)->pMethods->xFileControl(real(f), op, arg);
}
int SectorSize(sqlite3_file* f) {
  return real(f)->pMethods->xSectorSize(real(f));
}
int DeviceCharacteristics(sqlite3_file* f) {
  return real(f)->pMethods->xDeviceCharacteristics(real(f));
}
int ShmMap(sqlite3_file* f, int page, int size, int extend,
           void volatile** out) {
  return real(f)->pMethods->xShmMap(real(f), page, size, extend, out);
}
int ShmLock(sqlite3_file* f, int offset, int n, int flags) {
  return real(f)->pMethods->xShmLock(real(f), offset, n, flags);
}
void ShmBarrier(sqlite3_file* f) { real(f)->pMethods->xShmBarrier(real(f)); }
int ShmUnmap(sqlite3_file* f, int remove) {
  return real(f)->pMethods->xShmUnmap(real(f), remove);
}
int Fetch(sqlite3_file* f, sqlite3_int64 off, int n, void** out) {
  // No memory-mapped reads: every page goes through Read.
  (void)f;
  (void)off;
  (void)n;
  *out = nullptr;
  return SQLITE_OK;
}
int Unfetch(sqlite3_file*, sqlite3_int64, void*) { return SQLITE_OK; }

const sqlite3_io_methods kMethods = {3,
                                     Close,
                                     Read,
                                     Write,
                                     Truncate,
                                     Sync,
                                     FileSize,
                                     Lock,
                                     Unlock,
                                     CheckReservedLock,
                                     FileControl,
                                     SectorSize,
                                     DeviceCharacteristics,
                                     ShmMap,
                                     ShmLock,
                                     ShmBarrier,
                                     ShmUnmap,
                                     Fetch,
                                     Unfetch};

// The real VFS and the owner are both needed by the VFS methods; pAppData
// holds the owner, which knows the real VFS.
struct VfsData {
  FailingVfs* owner;
  sqlite3_vfs* real;
};
VfsData* data_of(sqlite3_vfs* vfs) {
  return static_cast<VfsData*>(vfs->pAppData);
}

int Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags,
         int* out_flags) {
  VfsData* d = data_of(vfs);
  ShimFile* s = shim(file);
  s->base.pMethods = nullptr;
  s->owner = d->owner;
  std::memset(s->real(), 0, d->real->szOsFile);
  int rc = d->real->xOpen(d->real, name, s->real(), flags, out_flags);
  if (s->real()->pMethods) s->base.pMethods = &kMethods;
  return rc;
}
int Delete(sqlite3_vfs* vfs, const char* name, int sync) {
  return data_of(vfs)->real->xDelete(data_of(vfs)->real, name, sync);
}
int Access(sqlite3_vfs* vfs, const char* name, int flags, int* out) {
  return data_of(vfs)->real->xAccess(data_of(vfs)->real, name, flags, out);
}
int FullPathname(sqlite3_vfs* vfs, const char* name, int n, char* out) {
  return data_of(vfs)->real->xFullPathname(data_of(vfs)->real, name, n, out);
}
void* DlOpen(sqlite3_vfs* vfs, const char* name) {
  return data_of(vfs)->real->xDlOpen(data_of(vfs)->real, name);
}
void DlError(sqlite3_vfs* vfs, int n, char* out) {
  data_of(vfs)->real->xDlError(data_of(vfs)->real, n, out);
}
void (*DlSym(sqlite3_vfs* vfs, void* handle, const char* name))(void) {
  return data_of(vfs)->real->xDlSym(data_of(vfs)->real, handle, name);
}
void DlClose(sqlite3_vfs* vfs, void* handle) {
  data_of(vfs)->real->xDlClose(data_of(vfs)->real, handle);
}
int Randomness(sqlite3_vfs* vfs, int n, char* out) {
  return data_of(vfs)->real->xRandomness(data_of(vfs)->real, n, out);
}
int Sleep(sqlite3_vfs* vfs, int micros) {
  return data_of(vfs)->real->xSleep(data_of(vfs)->real, micros);
}
int CurrentTime(sqlite3_vfs* vfs, double* out) {
  return data_of(vfs)->real->xCurrentTime(data_of(vfs)->real, out);
}
int GetLastError(sqlite3_vfs* vfs, int n, char* out) {
  return data_of(vfs)->real->xGetLastError(data_of(vfs)->real, n, out);
}
int CurrentTimeInt64(sqlite3_vfs* vfs, sqlite3_int64* out) {
  return data_of(vfs)->real->xCurrentTimeInt64(data_of(vfs)->real, out);
}
}  // namespace

FailingVfs::FailingVfs() : real_(sqlite3_vfs_find(nullptr)) {
  auto* data = new VfsData{this, real_};
  std::memset(&vfs_, 0, sizeof vfs_);
  vfs_.iVersion = 2;
  vfs_.szOsFile = static_cast<int>(sizeof(ShimFile)) + real_->szOsFile;
  vfs_.mxPathname = real_->mxPathname;
  vfs_.zName = "failing";
  vfs_.pAppData = data;
  vfs_.xOpen = Open;
  vfs_.xDelete = Delete;
  vfs_.xAccess = Access;
  vfs_.xFullPathname = FullPathname;
  vfs_.xDlOpen = DlOpen;
  vfs_.xDlError = DlError;
  vfs_.xDlSym = DlSym;
  vfs_.xDlClose = DlClose;
  vfs_.xRandomness = Randomness;
  vfs_.xSleep = Sleep;
  vfs_.xCurrentTime = CurrentTime;
  vfs_.xGetLastError = GetLastError;
  vfs_.xCurrentTimeInt64 = CurrentTimeInt64;
  sqlite3_vfs_register(&vfs_, 1);
}

FailingVfs::~FailingVfs() {
  sqlite3_vfs_unregister(&vfs_);
  sqlite3_vfs_register(real_, 1);
  delete static_cast<VfsData*>(vfs_.pAppData);
}

void FailingVfs::arm(Fault fault, int n) {
  fired_ = false;
  countdown_ = n;
  fault_ = fault;
}

void FailingVfs::disarm() { fault_ = kNone; }

int FailingVfs::on_write() {
  ++writes_;
  int fault = fault_;
  if (fault == kDiskFull && fired_) return SQLITE_FULL;
  if (fault != kWriteError && fault != kDiskFull) return SQLITE_OK;
  if (--countdown_ != 0) return SQLITE_OK;
  fired_ = true;
  if (fault == kWriteError) {
    fault_ = kNone;
    return SQLITE_IOERR_WRITE;
  }
  return SQLITE_FULL;
}

int FailingVfs::on_sync() {
  ++syncs_;
  if (fault_ != kSyncError) return SQLITE_OK;
  if (--countdown_ != 0) return SQLITE_OK;
  fired_ = true;
  fault_ = kNone;
  return SQLITE_IOERR_FSYNC;
}
