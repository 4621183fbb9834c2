/* The compiler library of the emulated platform, libxanocl12cl64.so: binary objects over kernel
 * ELF images, with a compile step between the IL text and IL binary stages of their debug IL.
 * Functions answer DNK_SUCCESS or one of the errors below, as their result or through an error
 * out argument. */
#ifndef XAN_DNK_COMPILER_H
#define XAN_DNK_COMPILER_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C"
{
#endif

    enum
    {
        DNK_SUCCESS = 0,
        DNK_ERROR_INVALID_ARGUMENT = 1,
        /* Not a compiler handle or binary object of this library, or one already ended. */
        DNK_ERROR_INVALID_HANDLE = 2,
        /* dnkBinaryInit was given another struct size than DNK_BINARY_STRUCT_SIZE. */
        DNK_ERROR_STRUCT_SIZE = 3,
        DNK_ERROR_UNKNOWN_TARGET = 4,
        /* The image isn't an ELF image, or can't be written as one. */
        DNK_ERROR_INVALID_BINARY = 5,
        DNK_ERROR_NOT_FOUND = 6,
        /* The IL was refused; the reason went to the log function. */
        DNK_ERROR_COMPILE = 7,
        DNK_ERROR_BUFFER_TOO_SMALL = 8,
        DNK_ERROR_NOT_SUPPORTED = 9,
        DNK_ERROR_OUT_OF_MEMORY = 10,
        DNK_ERROR_IO = 11
    };

#define DNK_BINARY_STRUCT_SIZE 120

    /* Compile stages. */
    enum
    {
        DNK_STAGE_IL_TEXT = 6,
        DNK_STAGE_IL_BINARY = 7
    };

    /* Section kinds: the sections of a kernel image, and the debug IL symbols "__debugil_text"
     * (the ".debugil" section) and "__debugil_binary" (its tokens, the ".debugilbin" section). */
    enum
    {
        DNK_SECTION_LLVMIR = 0,
        DNK_SECTION_XANIL = 2,
        DNK_SECTION_DEBUGIL = 12,
        DNK_SECTION_TEXT = 26,
        DNK_SECTION_DEBUGIL_SYMBOLS = 27,
        DNK_SECTION_OTHER = 35
    };

    /* dnkQueryInfo queries, each about one kernel. */
    enum
    {
        DNK_QUERY_METADATA = 1,        /* the metadata text, without a NUL */
        DNK_QUERY_FUNCTION_NUMBER = 4, /* uint32_t: the kernel's function label */
        DNK_QUERY_ARGUMENTS = 8        /* dnk_argument records, ended by one with a null pName */
    };

    typedef struct DNKTargetInfo
    {
        uint32_t nValues[4];
    } DNKTargetInfo;

    enum
    {
        DNK_ARGUMENT_VALUE = 1,
        DNK_ARGUMENT_POINTER = 2,
        DNK_ARGUMENT_IMAGE = 3,
        DNK_ARGUMENT_COUNTER = 4,
        /* Declared with dnkDbgAddArgument: a buffer behind the kernel's own arguments. */
        DNK_ARGUMENT_DEBUG = 5
    };

    /* One kernel argument. The strings belong to the binary object. */
    typedef struct dnk_argument
    {
        const char* pName;
        const char* pDataType; /* "float", "i32", ...; an image's dimension */
        uint32_t nKind;
        uint32_t nIndex;  /* position among the kernel's arguments */
        uint32_t nOffset; /* byte offset in constant buffer 1 */
        uint32_t nSize;   /* bytes in constant buffer 1 */
        uint32_t nCount;
        uint32_t nResourceId;
        uint32_t nAlignment;
        uint32_t nAccess; /* 1 read only, 2 write only, 3 read and write, 0 not told */
        uint32_t nReserved[10];
    } dnk_argument;

    /* Takes what the compiler says: a text and its size. */
    typedef void (*dnk_log_fn)(const char* pText, size_t nSize);

    /* Both arguments are reserved and must be null. */
    void* dnkCompilerInit(void* pReserved1, void* pReserved2);
    int dnkCompilerFini(void* pCompiler);
    /* The architecture is "xanil"; the device a GPU family name such as "Larkspur", in any case. */
    DNKTargetInfo dnkGetTargetInfo(const char* pArchitecture, const char* pDevice, int* pError);

    /* An empty kernel image. */
    void* dnkBinaryInit(size_t nStructSize, DNKTargetInfo target, const char* pOptions,
                        int* pError);
    int dnkBinaryFini(void* pBinary);
    void* dnkReadFromMem(const void* pImage, size_t nSize, int* pError);
    void* dnkReadFromFile(const char* pPath, int* pError);
    /* The image stays the object's until it changes or ends. */
    int dnkWriteToMem(void* pBinary, void** ppImage, size_t* pnSize);
    int dnkWriteToFile(void* pBinary, const char* pPath);

    /* The section of a kind: DNK_SECTION_LLVMIR, _XANIL, _DEBUGIL or _TEXT. Replacing a section
     * drops the symbols inside it. Extracted bytes stay the object's. */
    int dnkInsertSection(void* pCompiler, void* pBinary, const void* pData, size_t nSize,
                         int nSectionKind);
    const void* dnkExtractSection(void* pCompiler, void* pBinary, size_t* pnSize, int nSectionKind,
                                  int* pError);
    int dnkRemoveSection(void* pCompiler, void* pBinary, int nSectionKind);

    /* The debug IL symbols, of kind DNK_SECTION_DEBUGIL_SYMBOLS. */
    int dnkInsertSymbol(void* pCompiler, void* pBinary, const void* pData, size_t nSize,
                        int nSectionKind, const char* pName);
    const void* dnkExtractSymbol(void* pCompiler, void* pBinary, size_t* pnSize, int nSectionKind,
                                 const char* pName, int* pError);
    int dnkRemoveSymbol(void* pCompiler, void* pBinary, int nSectionKind, const char* pName);

    /* From DNK_STAGE_IL_TEXT to DNK_STAGE_IL_BINARY or back. The options must be empty. */
    int dnkCompile(void* pCompiler, void* pBinary, const char* pOptions, int nFromStage,
                   int nToStage, dnk_log_fn pfnLog);
    /* The debug IL as canonical text, through the log function. */
    int dnkDisassemble(void* pCompiler, void* pBinary, dnk_log_fn pfnLog);

    /* With a null buffer *pnSize receives the size of the answer; otherwise the buffer, of *pnSize
     * bytes, receives it. */
    int dnkQueryInfo(void* pCompiler, void* pBinary, int nQuery, const char* pKernelName,
                     void* pBuffer, size_t* pnSize);
    /* A debug buffer that every kernel's argument list reports behind its own arguments, with its
     * UAV id and alignment. */
    int dnkDbgAddArgument(void* pCompiler, void* pBinary, const char* pName, uint32_t nResourceId,
                          uint32_t nAlignment);

#ifdef __cplusplus
}
#endif

#endif
