#include "xmp/pdf_xmp_lock.h"

#include <pthread.h>
#include <cstdlib>

namespace {
// The one global of the bridge. The creation test is not guarded: two first
// calls at once may each create a mutex, and the later one stays.
pthread_mutex_t* xmp_mutex = nullptr;
}  // namespace

PDF_Result PDF_XMP_Lock_Create() {
  if (xmp_mutex != nullptr) return PDF_RESULT_OK;
  pthread_mutex_t* mutex = static_cast<pthread_mutex_t*>(malloc(sizeof(pthread_mutex_t)));
  if (mutex == nullptr) return PDF_RESULT_INVALID_ARGUMENT;
  if (pthread_mutex_init(mutex, nullptr) != 0) {
    free(mutex);
    return PDF_RESULT_INVALID_ARGUMENT;
  }
  xmp_mutex = mutex;
  return PDF_RESULT_OK;
}

void PDF_XMP_Lock() {
  if (xmp_mutex != nullptr) pthread_mutex_lock(xmp_mutex);
}

void PDF_XMP_Unlock() {
  if (xmp_mutex != nullptr) pthread_mutex_unlock(xmp_mutex);
}
