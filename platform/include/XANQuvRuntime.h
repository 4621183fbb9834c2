/* The low-level compute runtime of the emulated platform: liborvquvrt64.so with its IL
 * converter extension, and the two companion libraries liborvquvcl64.so and liborvquvdd64.so.
 * Every function answers an int, QUV_SUCCESS or one of the errors below. */
#ifndef XAN_QUV_RUNTIME_H
#define XAN_QUV_RUNTIME_H

#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

    enum
    {
        QUV_SUCCESS = 0,
        /* The function exists for compatibility but this platform doesn't offer what it does. */
        QUV_ERROR_NOT_SUPPORTED = 1,
        QUV_ERROR_INVALID_ARGUMENT = 2,
        /* The IL text or tokens were refused; the reason went to standard error. */
        QUV_ERROR_INVALID_IL = 3,
        /* quvInit after an earlier quvInit: a success. */
        QUV_ALREADY_INITIALIZED = 4,
        QUV_ERROR_OUT_OF_MEMORY = 5
    };

/* The IL converter extension and the one format it converts: the tokens of platform/IL.md. */
#define QUV_EXT_IL_CONVERTER 0x8013u
#define QUV_IL_FORMAT_TOKENS 1

    int quvInit(void);
    int quvShutdown(void);
    /* QUV_SUCCESS if the extension is offered. */
    int quvExtSupported(uint32_t nExtension);
    /* The extension function of that name: "quvConvertTextToBinary", "quvConvertBinaryToText" or
     * "quvFreeTextBinary" for QUV_EXT_IL_CONVERTER. */
    int quvExtGetProc(void** ppFunction, uint32_t nExtension, const char* pName);

    /* The extension's functions. Both results are freed with quvFreeTextBinary. */
    typedef int (*quvConvertTextToBinary_fn)(void** ppBinary, uint32_t* pnSizeInBytes, int nFormat,
                                             const char* pText);
    typedef int (*quvConvertBinaryToText_fn)(const void* pBinary, uint32_t nSizeInBytes,
                                             int nFormat, char** ppText);
    typedef int (*quvFreeTextBinary_fn)(void* pTextOrBinary);

#ifdef __cplusplus
}
#endif

#endif
