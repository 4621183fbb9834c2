#ifndef XAN_TEST_CORPUS_PROGRAM_H
#define XAN_TEST_CORPUS_PROGRAM_H

#include <CL/cl.h>

#include <string>
#include <vector>

// Programs of the emulated platform reached through the OpenCL API and the ICD loader, as an
// application reaches them: the corpus builder makes its binaries so, and tests that run corpus
// kernels load them so.
namespace XAN_Test
{
// The first GPU of the Nordvane platform with a context and an in-order queue; every handle is
// null when there is no such device.
class CNordvaneDevice
{
public:
    CNordvaneDevice();
    ~CNordvaneDevice();
    CNordvaneDevice(const CNordvaneDevice&) = delete;
    CNordvaneDevice& operator=(const CNordvaneDevice&) = delete;

    bool IsValid() const { return m_Queue != nullptr; }
    // CL_DEVICE_NAME, such as "Larkspur".
    std::string GetName() const;

    // Builds IL text, or a program binary when pBinary is given; null with the build log in
    // strLog on failure. The caller releases the program.
    cl_program Build(const std::string& strSource, const char* pOptions, std::string& strLog) const;
    cl_program Build(const std::vector<char>& vBinary, const char* pOptions,
                     std::string& strLog) const;

    // The binary that the program holds for this device.
    std::vector<char> GetBinary(cl_program program) const;

    cl_device_id GetDevice() const { return m_Device; }
    cl_context GetContext() const { return m_Context; }
    cl_command_queue GetQueue() const { return m_Queue; }

private:
    cl_program Finish(cl_program program, const char* pOptions, std::string& strLog) const;

    cl_device_id m_Device;
    cl_context m_Context;
    cl_command_queue m_Queue;
};
} // namespace XAN_Test

#endif
