#include "xmp/pdf_xmp_lock.h"

#include <pthread.h>

namespace {
// The one global of the bridge: initialised statically, so that it exists
// before any call and no first use can race to create it, and never
// destroyed, so that a thread still inside the toolkit at exit finds it.
pthread_mutex_t xmp_mutex = PTHREAD_MUTEX_INITIALIZER;
}  // namespace

// Nothing to create any more; the call stays in the open sequence, where a
// failure would end the creation of the document.
PDF_Result PDF_XMP_Lock_Create() { return PDF_RESULT_OK; }

void PDF_XMP_Lock() { pthread_mutex_lock(&xmp_mutex); }

void PDF_XMP_Unlock() { pthread_mutex_unlock(&xmp_mutex); }
