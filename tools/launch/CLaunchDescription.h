#ifndef XAN_TOOLS_CLAUNCHDESCRIPTION_H
#define XAN_TOOLS_CLAUNCHDESCRIPTION_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace XAN_Launch
{
// The scalar type of a buffer element, a value or an image channel.
enum EScalarType
{
    ST_Char,
    ST_UChar,
    ST_Short,
    ST_UShort,
    ST_Int,
    ST_UInt,
    ST_Long,
    ST_ULong,
    ST_Float,
    ST_Double,
};

// An element type such as "float" or "uint4".
struct SElementType
{
    EScalarType eScalar = ST_Int;
    uint32_t nLanes = 1; // 1, 2, 3, 4, 8 or 16; a 3-lane element takes the room of 4
    std::string strName;

    size_t GetScalarSize() const;
    size_t GetSize() const;
    // One element as text: integers in decimal, floats with the digits that tell them apart,
    // the lanes of a vector in parentheses.
    std::string Format(const uint8_t* p) const;
};

enum EArgKind
{
    AK_Buffer,
    AK_Scalar,
    AK_Local,
    AK_Image,
    AK_Sampler,
};

// One argument of the kernel, in order.
struct SLaunchArg
{
    EArgKind eKind = AK_Buffer;
    std::string strName; // "args[2]", or the name the file gives it
    uint32_t nLine = 0;  // of its table in the launch file

    // Buffer: its element type and count; scalar: its type and value bytes; image: the
    // channel type of its contents.
    SElementType type;
    uint64_t nCount = 0;
    bool bReadOnly = false;
    std::vector<uint8_t> vBytes;    // buffer and image contents, scalar value
    bool bHasExpected = false;      // buffers and images
    std::vector<uint8_t> vExpected; // the contents after the launch

    // __local: its size in bytes.
    uint64_t nLocalSize = 0;

    // Image: channel order and type as the OpenCL names say without their prefix ("RGBA",
    // "UNORM_INT8"), width, height and depth (1 where the image has none).
    std::string strChannelOrder;
    std::string strChannelType;
    uint32_t nImageDimensions = 2;
    uint64_t vImageSize[3] = {1, 1, 1};

    // Sampler.
    bool bNormalizedCoords = false;
    std::string strAddressing = "clamp_to_edge"; // none, clamp_to_edge, clamp, repeat,
                                                 // mirrored_repeat
    std::string strFilter = "nearest";           // nearest, linear
};

// One kernel launch read from a TOML launch file (tools/launch/README.md describes it).
class CLaunchDescription
{
public:
    // Reads strPath; false with "file:line: key: cause" in strError.
    bool Load(const std::string& strPath, std::string& strError);
    // Reads launch text; strPath names it in errors and anchors relative paths.
    bool Parse(const std::string& strText, const std::string& strPath, std::string& strError);

    // The program file, resolved against the launch file's folder.
    const std::string& GetProgramPath() const { return m_strProgramPath; }
    // The text of the program file.
    const std::string& GetProgramText() const { return m_strProgramText; }
    const std::string& GetKernel() const { return m_strKernel; }
    const std::string& GetOptions() const { return m_strOptions; }
    // The device family the launch needs ("fennel"), or empty for any.
    const std::string& GetDevice() const { return m_strDevice; }
    uint32_t GetDimensions() const { return m_nDimensions; }
    const size_t* GetGlobalSize() const { return m_vGlobal; }
    // Null when the file leaves the local size to the platform.
    const size_t* GetLocalSize() const { return m_bHasLocal ? m_vLocal : nullptr; }
    const size_t* GetOffset() const { return m_vOffset; }
    const std::vector<SLaunchArg>& GetArgs() const { return m_vArgs; }

private:
    std::string m_strPath;
    std::string m_strProgramPath;
    std::string m_strProgramText;
    std::string m_strKernel;
    std::string m_strOptions;
    std::string m_strDevice;
    uint32_t m_nDimensions = 1;
    size_t m_vGlobal[3] = {1, 1, 1};
    size_t m_vLocal[3] = {1, 1, 1};
    bool m_bHasLocal = false;
    size_t m_vOffset[3] = {0, 0, 0};
    std::vector<SLaunchArg> m_vArgs;
};
} // namespace XAN_Launch

#endif
