// cl_xan_object_metadata: process-wide keys, one value per object of any type, destructors
// when the object goes.
#include "ICDTestSupport.h"

using namespace XAN_Test;

namespace
{
class ObjectKeyTest : public CLFixture
{
protected:
    void SetUp() override
    {
        CLFixture::SetUp();
        ASSERT_TRUE(m_Keys.IsComplete());
    }

    SKeyFunctions m_Keys;
};

std::vector<void*> g_vDestroyed;

void CL_CALLBACK Destroy(void* pValue)
{
    g_vDestroyed.push_back(pValue);
}
} // namespace

TEST_F(ObjectKeyTest, EveryObjectHoldsOneValuePerKey)
{
    cl_int nError = 1;
    const cl_key_xan nFirst = m_Keys.pfnCreate(m_Platform, nullptr, &nError);
    EXPECT_EQ(CL_SUCCESS, nError);
    const cl_key_xan nSecond = m_Keys.pfnCreate(m_Platform, nullptr, nullptr);
    ASSERT_NE(0u, nFirst);
    ASSERT_NE(nFirst, nSecond);

    cl_event event = Made(clCreateUserEvent, m_Context);
    cl_mem buffer = MakeBuffer(16);
    void* const vObjects[] = {m_Platform, m_Device, m_Context, m_Queue, buffer, event};
    int vTags[6] = {};
    for (int i = 0; i < 6; ++i)
    {
        void* pValue = &nError;
        ASSERT_EQ(CL_SUCCESS, m_Keys.pfnGet(vObjects[i], nFirst, &pValue)) << i;
        EXPECT_EQ(nullptr, pValue) << i;
        ASSERT_EQ(CL_SUCCESS, m_Keys.pfnSet(vObjects[i], nFirst, &vTags[i]));
    }
    for (int i = 0; i < 6; ++i)
    {
        void* pValue = nullptr;
        m_Keys.pfnGet(vObjects[i], nFirst, &pValue);
        EXPECT_EQ(&vTags[i], pValue);
        m_Keys.pfnGet(vObjects[i], nSecond, &pValue);
        EXPECT_EQ(nullptr, pValue);
    }
    void* pValue = nullptr;
    EXPECT_EQ(CL_INVALID_VALUE, m_Keys.pfnGet(event, 0, &pValue));
    EXPECT_EQ(CL_INVALID_VALUE, m_Keys.pfnGet(&pValue, nFirst, &pValue));
    EXPECT_EQ(CL_INVALID_VALUE, m_Keys.pfnSet(nullptr, nFirst, nullptr));
    EXPECT_EQ(0u, m_Keys.pfnCreate(nullptr, nullptr, &nError));
    EXPECT_EQ(CL_INVALID_PLATFORM, nError);
    clSetUserEventStatus(event, CL_COMPLETE);
    clReleaseEvent(event);
}

TEST_F(ObjectKeyTest, AValuesDestructorRunsWhenItsObjectIsReleased)
{
    g_vDestroyed.clear();
    const cl_key_xan nKey = m_Keys.pfnCreate(m_Platform, Destroy, nullptr);
    cl_event event = Made(clCreateUserEvent, m_Context);
    int nTag = 0;
    ASSERT_EQ(CL_SUCCESS, m_Keys.pfnSet(event, nKey, &nTag));
    clRetainEvent(event);
    clReleaseEvent(event);
    EXPECT_TRUE(g_vDestroyed.empty());
    clSetUserEventStatus(event, CL_COMPLETE);
    clReleaseEvent(event);
    EXPECT_EQ(std::vector<void*>{&nTag}, g_vDestroyed);

    // A null value has nothing to destroy.
    cl_mem buffer = Made(clCreateBuffer, m_Context, CL_MEM_READ_WRITE, 4, nullptr);
    m_Keys.pfnSet(buffer, nKey, nullptr);
    clReleaseMemObject(buffer);
    EXPECT_EQ(1u, g_vDestroyed.size());
}
