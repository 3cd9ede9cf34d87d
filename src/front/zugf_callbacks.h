// The callbacks that the front end hands to the PDF library: allocation and
// release through the C runtime, and reading through a stdio stream.
#ifndef INVOICE_EXTRACT_ZUGF_CALLBACKS_H
#define INVOICE_EXTRACT_ZUGF_CALLBACKS_H

#include <cstdint>

void* ZUGF_Alloc_Callback(uint64_t size, void* data);
int32_t ZUGF_Free_Callback(void* block, void* data);
// Reads size bytes at offset of the stream (or of the file at path, opened for
// this one call). Mode 1 seeks from the start, mode 2 from the end, any other
// mode reads at the current position. Returns the number of bytes read.
uint64_t ZUGF_Read_Callback(void* buffer, uint32_t mode, uint64_t offset, uint64_t size, const char* path,
                            void* stream);

#endif
