#include "CImageSampler.h"
#include "EngineTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

using namespace XAN_Platform;

namespace
{
float AsFloat(uint32_t n)
{
    float f = 0;
    std::memcpy(&f, &n, sizeof(f));
    return f;
}

uint32_t AsBits(float f)
{
    uint32_t n = 0;
    std::memcpy(&n, &f, sizeof(n));
    return n;
}

// A one-row CL_R / CL_FLOAT image of four texels 10, 20, 30, 40.
const float g_vRow[4] = {10, 20, 30, 40};

SImageView RowImage()
{
    SImageView view;
    view.pData = reinterpret_cast<const uint8_t*>(g_vRow);
    view.vExtent[0] = 4;
    view.nDimensions = 1;
    view.nChannelOrder = CO_R;
    view.nChannelType = CT_Float;
    view.nRowPitch = view.nSlicePitch = sizeof(g_vRow);
    return view;
}

struct SSampleCase
{
    uint32_t nSampler;
    float fCoord;
    float fRed;
    float fAlpha;
};
} // namespace

// Each filter with each addressing mode, the expected values worked out by hand from the
// sampling rules: which texels a coordinate picks and with what weights.
TEST(CImageSampler, FiltersAndAddressingModesOverOneRow)
{
    const uint32_t NORM = SB_NormalizedCoords;
    const uint32_t NEAREST = SB_FilterNearest;
    const uint32_t LINEAR = SB_FilterLinear;
    const SSampleCase vCases[] = {
        {NEAREST | SB_AddressNone, 1.2f, 20, 1},
        {NEAREST | SB_AddressNone, -7.0f, 0, 1}, // outside: the border rather than a fault
        {NEAREST | SB_AddressClampToEdge, -3.0f, 10, 1},
        {NEAREST | SB_AddressClampToEdge, 5.5f, 40, 1},
        {NEAREST | SB_AddressClamp, 2.7f, 30, 1},
        {NEAREST | SB_AddressClamp, -0.5f, 0, 1}, // CL_R has no alpha: border (0, 0, 0, 1)
        {NEAREST | SB_AddressClamp, 4.0f, 0, 1},
        {NEAREST | NORM | SB_AddressClampToEdge, 0.6f, 30, 1},
        {NEAREST | NORM | SB_AddressRepeat, 1.3f, 20, 1},
        {NEAREST | NORM | SB_AddressRepeat, -0.1f, 40, 1},
        {NEAREST | NORM | SB_AddressMirroredRepeat, 1.3f, 30, 1},
        {NEAREST | NORM | SB_AddressMirroredRepeat, -0.2f, 10, 1},
        {LINEAR | SB_AddressClampToEdge, 1.5f, 20, 1},
        {LINEAR | SB_AddressClampToEdge, 1.75f, 22.5f, 1},
        {LINEAR | SB_AddressClampToEdge, 0.0f, 10, 1},
        {LINEAR | SB_AddressClamp, 0.0f, 5, 1},
        {LINEAR | SB_AddressClamp, 4.25f, 10, 1},
        {LINEAR | NORM | SB_AddressClampToEdge, 0.5f, 25, 1},
        {LINEAR | NORM | SB_AddressRepeat, 0.0f, 25, 1},
        {LINEAR | NORM | SB_AddressRepeat, 1.0625f, 17.5f, 1},
        {LINEAR | NORM | SB_AddressMirroredRepeat, -0.25f, 15, 1},
        {LINEAR | NORM | SB_AddressMirroredRepeat, 1.0f, 40, 1},
    };
    for (const SSampleCase& test : vCases)
    {
        const float vCoord[3] = {test.fCoord, 0, 0};
        uint32_t vResult[4];
        CImageSampler::Sample(RowImage(), test.nSampler, vCoord, vResult);
        EXPECT_FLOAT_EQ(AsFloat(vResult[0]), test.fRed)
            << "sampler 0x" << std::hex << test.nSampler << " at " << test.fCoord;
        EXPECT_EQ(vResult[1], 0u);
        EXPECT_FLOAT_EQ(AsFloat(vResult[3]), test.fAlpha);
    }
}

// Coordinates no image has must still land on a texel or the border.
TEST(CImageSampler, NonFiniteCoordinatesStayInside)
{
    const float vBad[] = {std::nanf(""), 1e30f, -1e30f, __builtin_inff()};
    for (uint32_t nMode : {SB_AddressNone, SB_AddressClampToEdge, SB_AddressClamp, SB_AddressRepeat,
                           SB_AddressMirroredRepeat})
    {
        for (uint32_t nFilter : {SB_FilterNearest, SB_FilterLinear})
        {
            for (float f : vBad)
            {
                const float vCoord[3] = {f, 0, 0};
                uint32_t vResult[4];
                CImageSampler::Sample(RowImage(), nMode | nFilter | SB_NormalizedCoords, vCoord,
                                      vResult);
            }
        }
    }
}

TEST(CImageSampler, LinearFilteringWeighsEveryNeighbourInTwoAndThreeDimensions)
{
    // 2 × 2 CL_RGBA / CL_UNORM_INT8: red, green, blue, white.
    const uint8_t vSquare[16] = {255, 0, 0,   255, 0,   255, 0,   255,
                                 0,   0, 255, 255, 255, 255, 255, 255};
    SImageView square;
    square.pData = vSquare;
    square.vExtent[0] = square.vExtent[1] = 2;
    square.nChannelType = CT_UNormInt8;
    square.nRowPitch = 8;
    square.nSlicePitch = 16;
    const float vCentre[3] = {1.0f, 1.0f, 0};
    uint32_t vResult[4];
    CImageSampler::Sample(square, SB_FilterLinear | SB_AddressClampToEdge, vCentre, vResult);
    for (uint32_t c = 0; c < 3; ++c)
    {
        EXPECT_FLOAT_EQ(AsFloat(vResult[c]), 0.5f);
    }
    EXPECT_FLOAT_EQ(AsFloat(vResult[3]), 1.0f);
    // A quarter of the way from texel (0, 0) towards (1, 1).
    const float vNear[3] = {0.75f, 0.75f, 0};
    CImageSampler::Sample(square, SB_FilterLinear | SB_AddressClampToEdge, vNear, vResult);
    EXPECT_FLOAT_EQ(AsFloat(vResult[0]), 0.75f * 0.75f + 0.25f * 0.25f);

    // 2 × 2 × 2 CL_R / CL_FLOAT holding 0 to 7: the centre is their mean.
    const float vCube[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    SImageView cube;
    cube.pData = reinterpret_cast<const uint8_t*>(vCube);
    cube.vExtent[0] = cube.vExtent[1] = cube.vExtent[2] = 2;
    cube.nDimensions = 3;
    cube.nChannelOrder = CO_R;
    cube.nRowPitch = 8;
    cube.nSlicePitch = 16;
    const float vMiddle[3] = {0.5f, 0.5f, 0.5f};
    CImageSampler::Sample(cube, SB_FilterLinear | SB_NormalizedCoords | SB_AddressClampToEdge,
                          vMiddle, vResult);
    EXPECT_FLOAT_EQ(AsFloat(vResult[0]), 3.5f);
}

TEST(CImageSampler, ChannelTypesAndOrdersDecode)
{
    struct SCase
    {
        uint32_t nOrder;
        uint32_t nType;
        std::vector<uint8_t> vBytes;
        uint32_t vExpected[4];
    };
    const uint32_t ONE = AsBits(1.0f);
    const SCase vCases[] = {
        {CO_RGBA, CT_UNormInt8, {0, 51, 255, 0}, {0, AsBits(0.2f), ONE, 0}},
        {CO_BGRA, CT_UNormInt8, {255, 0, 0, 0}, {0, 0, ONE, 0}},
        {CO_R, CT_SNormInt8, {0x80}, {AsBits(-1.0f), 0, 0, ONE}},
        {CO_RG, CT_UNormInt16, {0xFF, 0xFF, 0, 0}, {ONE, 0, 0, ONE}},
        {CO_R, CT_SignedInt32, {0xFB, 0xFF, 0xFF, 0xFF}, {0xFFFFFFFBu, 0, 0, 1}},
        {CO_R, CT_SignedInt8, {0xFE}, {0xFFFFFFFEu, 0, 0, 1}},
        {CO_RGBA, CT_UnsignedInt32, {1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0}, {1, 2, 3, 4}},
        {CO_Intensity, CT_UnsignedInt8, {9}, {9, 9, 9, 9}},
        {CO_Luminance, CT_UnsignedInt16, {7, 0}, {7, 7, 7, 1}},
    };
    for (const SCase& test : vCases)
    {
        SImageView view;
        view.pData = test.vBytes.data();
        view.vExtent[0] = 1;
        view.nChannelOrder = test.nOrder;
        view.nChannelType = test.nType;
        ASSERT_EQ(CImageSampler::GetElementSize(test.nOrder, test.nType), test.vBytes.size());
        const int32_t vCoord[3] = {0, 0, 0};
        uint32_t vResult[4];
        CImageSampler::Load(view, vCoord, vResult);
        for (uint32_t c = 0; c < 4; ++c)
        {
            EXPECT_EQ(vResult[c], test.vExpected[c])
                << "order 0x" << std::hex << test.nOrder << " type 0x" << test.nType << " channel "
                << c;
        }
    }
}

TEST(CImageSampler, IntegerFormatsIgnoreLinearFilteringAndHaveAnIntegerBorder)
{
    const uint32_t vTexels[2] = {5, 6};
    SImageView view;
    view.pData = reinterpret_cast<const uint8_t*>(vTexels);
    view.vExtent[0] = 2;
    view.nChannelOrder = CO_R;
    view.nChannelType = CT_UnsignedInt32;
    view.nRowPitch = view.nSlicePitch = 8;
    uint32_t vResult[4];
    const float vBetween[3] = {1.75f, 0, 0};
    CImageSampler::Sample(view, SB_FilterLinear | SB_AddressClamp, vBetween, vResult);
    EXPECT_EQ(vResult[0], 6u);
    const float vOutside[3] = {-1.0f, 0, 0};
    CImageSampler::Sample(view, SB_FilterNearest | SB_AddressClamp, vOutside, vResult);
    EXPECT_EQ(vResult[0], 0u);
    EXPECT_EQ(vResult[3], 1u);
}

// Writes round normalised values to nearest even and saturate every type to its range.
TEST(CImageSampler, WritesRoundAndSaturate)
{
    struct SCase
    {
        uint32_t nOrder;
        uint32_t nType;
        uint32_t vValue[4];
        std::vector<uint8_t> vExpected;
    };
    const SCase vCases[] = {
        {CO_RGBA,
         CT_UNormInt8,
         {AsBits(1.5f), AsBits(-0.3f), AsBits(0.5f), AsBits(std::nanf(""))},
         {255, 0, 128, 0}},
        {CO_BGRA, CT_UNormInt8, {AsBits(1.0f), 0, 0, 0}, {0, 0, 255, 0}},
        {CO_R, CT_SNormInt16, {AsBits(-2.0f), 0, 0, 0}, {0x01, 0x80}},
        {CO_RG, CT_SignedInt8, {300, uint32_t(-300), 0, 0}, {127, 0x80}},
        {CO_R, CT_UnsignedInt16, {70000, 0, 0, 0}, {0xFF, 0xFF}},
        {CO_R, CT_Float, {AsBits(2.5f), 0, 0, 0}, {0, 0, 0x20, 0x40}},
    };
    for (const SCase& test : vCases)
    {
        std::vector<uint8_t> vData(test.vExpected.size() * 2, 0xCC);
        SImageView view;
        view.vExtent[0] = 2;
        view.nChannelOrder = test.nOrder;
        view.nChannelType = test.nType;
        const int32_t vCoord[3] = {1, 0, 0};
        CImageSampler::Write(view, vCoord, test.vValue, vData.data());
        const int32_t vOutside[3] = {2, 0, 0};
        CImageSampler::Write(view, vOutside, test.vValue, vData.data());
        EXPECT_EQ(std::vector<uint8_t>(vData.begin(), vData.begin() + test.vExpected.size()),
                  std::vector<uint8_t>(test.vExpected.size(), 0xCC));
        EXPECT_EQ(std::vector<uint8_t>(vData.begin() + test.vExpected.size(), vData.end()),
                  test.vExpected)
            << "type 0x" << std::hex << test.nType;
    }
}

// A kernel samples, loads and writes images bound to its resource and UAV ids; an id without
// an image reads the border and its writes go nowhere.
TEST(CImageSampler, KernelsReadAndWriteBoundImages)
{
    XAN_Test::CKernelLaunch launch(false);
    auto pSource = launch.Buffer(std::vector<float>(g_vRow, g_vRow + 4));
    auto pTarget = launch.Buffer(std::vector<uint8_t>(4, 0));
    auto pOut = launch.Buffer(std::vector<uint32_t>(4 * 4, 0));
    launch.ArgPointer(pOut);
    launch.Range(1, {4}, {4});
    SImageBinding source;
    source.nAddress = pSource->GetAddress();
    source.layout = RowImage();
    source.layout.pData = nullptr;
    SImageBinding target = source;
    target.nId = 1;
    target.bUAV = true;
    target.nAddress = pTarget->GetAddress();
    target.layout.nChannelType = CT_UnsignedInt8;
    target.layout.nRowPitch = target.layout.nSlicePitch = 4;
    launch.Desc().vImages = {source, target};
    launch.Desc().vSamplers = {SB_FilterLinear | SB_AddressClampToEdge};
    // r2 = (linear sample at id + 1, load at 3 - id, sample of the unbound resource 5, 0);
    // the target image gets id at 3 - id.
    const std::string strText = XAN_Test::OutputKernel("iadd r3.x, r0.x, l0.y\n"
                                                       "itof r3.x, r3.x\n"
                                                       "iadd r4.x, l0.w, -r0.x\n"
                                                       "sample_resource(0)_sampler(0) r5, r3\n"
                                                       "load_resource(0) r6, r4\n"
                                                       "sample_resource(5)_sampler(0) r7, r3\n"
                                                       "mov r2.x, r5.x\n"
                                                       "mov r2.y, r6.x\n"
                                                       "mov r2.z, r7.x\n"
                                                       "mov r2.w, l1.x\n"
                                                       "uav_store_id(1) r4, r0\n");
    std::unique_ptr<CILProgram> pProgram = XAN_Test::LoadProgram(strText);
    ASSERT_TRUE(pProgram);
    ASSERT_EQ(launch.Run(*pProgram).eStatus, LS_Success);
    const std::vector<uint32_t> vOut = XAN_Test::CKernelLaunch::Read<uint32_t>(pOut);
    const float vSampled[4] = {15, 25, 35, 40};
    for (uint32_t i = 0; i < 4; ++i)
    {
        EXPECT_FLOAT_EQ(AsFloat(vOut[4 * i]), vSampled[i]) << i;
        EXPECT_FLOAT_EQ(AsFloat(vOut[4 * i + 1]), g_vRow[3 - i]) << i;
        EXPECT_EQ(vOut[4 * i + 2], 0u) << i;
    }
    EXPECT_EQ(XAN_Test::CKernelLaunch::Read<uint8_t>(pTarget), (std::vector<uint8_t>{3, 2, 1, 0}));
}
