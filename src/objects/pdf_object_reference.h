// References: the value "n g R", bound to its object in the object table on
// first use (by number alone) and bound for good after that. A reference owns
// nothing; it counts in its target's reference_count.
#ifndef INVOICE_EXTRACT_PDF_OBJECT_REFERENCE_H
#define INVOICE_EXTRACT_PDF_OBJECT_REFERENCE_H

#include <cstdint>

#include "objects/pdf_data_object.h"
#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Object;
struct PDF_Read_Data;

struct PDF_Object_Reference {
  PDF_Data_Object* owner;  // wrapping variant; owns nothing
  PDF_File* file;          // where the target is looked up
  PDF_Object* target;      // null until bound; not owned
  uint32_t number;         // while unbound; 0 once bound
  uint32_t generation;     // while unbound; 0 once bound
};

// With an object the reference is bound and retains it; without, the numbers
// are stored for a later lookup.
PDF_Result PDF_Object_Reference_Create(PDF_Object_Reference** out_reference, PDF_File* file, PDF_Object* object,
                                       uint32_t number, uint32_t generation);
// "n g R". An object number of 0 consumes the tokens and leaves the holder
// empty (the value parser makes a null of it).
uint64_t PDF_Object_Reference_Read(PDF_Object_Reference** out_reference, PDF_File* file, PDF_Read_Data* reader,
                                   uint64_t position);
PDF_Result PDF_Object_Reference_Bind(PDF_Object_Reference* reference);  // -91: no such object
PDF_Object* PDF_Object_Reference_Get_Object(PDF_Object_Reference* reference);
PDF_Result PDF_Object_Reference_Set_Object(PDF_Object_Reference* reference, PDF_Object* object);
PDF_Result PDF_Object_Reference_Delete(PDF_Object_Reference** holder, PDF_File* file, uint32_t delete_mode);
PDF_Result PDF_Object_Reference_Copy(PDF_Object_Reference** out_reference, PDF_File* file, PDF_Object_Reference* source,
                                     bool copy_targets, int32_t copy_mode);
PDF_Result PDF_Object_Reference_Load_All(PDF_Object_Reference* reference);
PDF_Result PDF_Object_Reference_Set_Owner(PDF_Object_Reference* reference, PDF_Data_Object* owner);

#endif
