// Layout: the message formatter (the FORMAT_MESSAGE_* flags of winbase.h) and the error codes it
// and the string-table loader report. LMEM_* and LPTR are in the memory group of layout.cpp;
// ERROR_NO_WORK_DONE is left out, since not every Windows SDK names it.
#include "layout.h"

QN_LAYOUT_GROUP(FormatMessage) {
  VALUE(FORMAT_MESSAGE_ALLOCATE_BUFFER);
  VALUE(FORMAT_MESSAGE_IGNORE_INSERTS);
  VALUE(FORMAT_MESSAGE_FROM_STRING);
  VALUE(FORMAT_MESSAGE_FROM_HMODULE);
  VALUE(FORMAT_MESSAGE_FROM_SYSTEM);
  VALUE(FORMAT_MESSAGE_ARGUMENT_ARRAY);
  VALUE(FORMAT_MESSAGE_MAX_WIDTH_MASK);
  VALUE(ERROR_MR_MID_NOT_FOUND);
  VALUE(ERROR_RESOURCE_DATA_NOT_FOUND);
}
