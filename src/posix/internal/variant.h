// What the VARIANT services share: type validation and reading a VT_BYREF value.
#pragma once

#include <stddef.h>

#include "qnutil/posix/windows.h"

namespace qnposix {

// S_OK for a type a VARIANT can hold; DISP_E_BADVARTYPE otherwise.
HRESULT ValidateVarType(VARTYPE vt);
// Bytes of a scalar value of base type `base` (0 for types that are not plain scalars).
size_t ValueSize(VARTYPE base);
// A non-owning view of src's value without VT_BYREF (src itself when it is not a reference).
HRESULT Dereference(const VARIANT *src, VARIANT *out);

}  // namespace qnposix
