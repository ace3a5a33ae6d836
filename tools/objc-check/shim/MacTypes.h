// The global names of the macOS SDK's <MacTypes.h>, which CoreFoundation's CFBase.h includes, so
// every Foundation and AppKit translation unit on a Mac sees them (GNUstep has none of them). They
// are here so that the check meets the same C++ name lookup as a Mac: with `using namespace X;` at
// global scope, an unqualified `Rect`, `Point`, `Size`, `Style` or `bold` names two things and does
// not compile. Types and values as in the SDK (LP64); nothing here is linked.
#ifndef OBJC_CHECK_MACTYPES_H
#define OBJC_CHECK_MACTYPES_H

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char UInt8;
typedef signed char SInt8;
typedef unsigned short UInt16;
typedef signed short SInt16;
typedef unsigned int UInt32;
typedef signed int SInt32;
typedef unsigned long long UInt64;
typedef signed long long SInt64;
typedef SInt32 Fixed;
typedef Fixed *FixedPtr;
typedef SInt32 Fract;
typedef UInt32 UnsignedFixed;
typedef short ShortFixed;
typedef float Float32;
typedef double Float64;
typedef SInt16 OSErr;
typedef SInt32 OSStatus;
typedef void *LogicalAddress;
typedef unsigned long ByteCount;
typedef unsigned long ByteOffset;
typedef SInt32 Duration;
typedef UInt32 OptionBits;
typedef unsigned long ItemCount;
typedef SInt16 ScriptCode;
typedef SInt16 LangCode;
typedef SInt16 RegionCode;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;
typedef FourCharCode ResType;
typedef unsigned char Boolean;
typedef UInt8 Byte;
typedef SInt8 SignedByte;
typedef char *Ptr;
typedef Ptr *Handle;
typedef long Size;
typedef long (*ProcPtr)(void);
typedef UInt16 UniChar;
typedef unsigned long UniCharCount;
typedef UInt32 UnicodeScalarValue;
typedef UInt32 UTF32Char;
typedef UInt16 UTF16Char;
typedef UInt8 UTF8Char;
typedef unsigned char Str255[256];
typedef unsigned char Str63[64];
typedef unsigned char Str32[33];
typedef unsigned char Str31[32];
typedef unsigned char Str27[28];
typedef unsigned char Str15[16];
typedef unsigned char *StringPtr;
typedef StringPtr *StringHandle;
typedef const unsigned char *ConstStringPtr;
typedef const unsigned char *ConstStr255Param;

struct ProcessSerialNumber {
    UInt32 highLongOfPSN;
    UInt32 lowLongOfPSN;
};
typedef struct ProcessSerialNumber ProcessSerialNumber;

// QuickDraw's point and rectangle.
struct Point {
    short v;
    short h;
};
typedef struct Point Point;
typedef Point *PointPtr;
struct Rect {
    short top;
    short left;
    short bottom;
    short right;
};
typedef struct Rect Rect;
typedef Rect *RectPtr;
struct FixedPoint {
    Fixed x;
    Fixed y;
};
typedef struct FixedPoint FixedPoint;
struct FixedRect {
    Fixed left;
    Fixed top;
    Fixed right;
    Fixed bottom;
};
typedef struct FixedRect FixedRect;

// QuickDraw's font styles: unscoped enumerators at global scope.
typedef short CharParameter;
enum { normal = 0, bold = 1, italic = 2, underline = 4, outline = 8, shadow = 0x10, condense = 0x20, extend = 0x40 };
typedef unsigned char Style;
typedef short StyleParameter;
typedef Style StyleField;

typedef SInt32 TimeValue;
typedef SInt32 TimeScale;
typedef struct TimeBaseRecord *TimeBase;

enum { noErr = 0 };
enum { kNilOptions = 0 };
enum { kVariableLengthArray = 1 };
enum { kUnknownType = 0x3F3F3F3F };

#ifdef __cplusplus
}
#endif
#endif
