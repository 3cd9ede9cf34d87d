#include "xmp/pdf_xmp_lock.h"

#include <pthread.h>

namespace {
// The one global of the bridge: initialised before any code runs and never
// destroyed, so that two first calls on different threads can't race to
// create it.
pthread_mutex_t xmp_mutex = PTHREAD_MUTEX_INITIALIZER;
}  // namespace

PDF_Result PDF_XMP_Lock_Create() { return PDF_RESULT_OK; }

void PDF_XMP_Lock() { pthread_mutex_lock(&xmp_mutex); }

void PDF_XMP_Unlock() { pthread_mutex_unlock(&xmp_mutex); }
