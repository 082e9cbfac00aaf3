// The identifiers of Automation's interfaces.
#include "qnutil/posix/windows.h"

#define QN_OLE_IID(name, l) extern "C" const IID name = {l, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}}
QN_OLE_IID(IID_IDispatch, 0x00020400);
QN_OLE_IID(IID_ITypeInfo, 0x00020401);
QN_OLE_IID(IID_ITypeLib, 0x00020402);
QN_OLE_IID(IID_ITypeComp, 0x00020403);
#undef QN_OLE_IID
extern "C" const IID IID_IProvideClassInfo = {0xB196B283, 0xBAB4, 0x101A, {0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07}};
extern "C" const IID IID_IProvideClassInfo2 = {0xA6BC3AC0, 0xDBAA, 0x11CE, {0x9D, 0xE3, 0x00, 0xAA, 0x00, 0x4B, 0xB8, 0x51}};
