// xancldb: the command-line kernel debugger. Reads a launch file, launches its kernel through
// libXANOpenCLDebug.so and debugs it with gdb's habits; see README.md beside this file.
#include "CDebugLibrary.h"
#include "CDebugSession.h"
#include "CJsonReport.h"
#include "CLaunchDescription.h"
#include "CLaunchRunner.h"
#include "CLineReader.h"
#include "CProgress.h"
#include "HelpText.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

using namespace XAN_Xancldb;

namespace
{
const int EXIT_FAILED = 1;
const int EXIT_BAD_SETUP = 2;
const char* const VENDOR = "Nordvane Microsystems";

std::string Lower(std::string strText)
{
    std::transform(strText.begin(), strText.end(), strText.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return strText;
}

std::string DeviceString(cl_device_id device, cl_device_info nInfo)
{
    size_t nSize = 0;
    clGetDeviceInfo(device, nInfo, 0, nullptr, &nSize);
    std::string strText(nSize, '\0');
    clGetDeviceInfo(device, nInfo, nSize, &strText[0], nullptr);
    return strText.substr(0, strText.find('\0'));
}

// The GPU to debug on: the debugger's vendor's first, else the first GPU there is.
bool FindDevice(cl_platform_id& platform, cl_device_id& device, std::string& strError)
{
    cl_uint nPlatforms = 0;
    clGetPlatformIDs(0, nullptr, &nPlatforms);
    std::vector<cl_platform_id> vPlatforms(nPlatforms);
    if (nPlatforms == 0 || clGetPlatformIDs(nPlatforms, vPlatforms.data(), nullptr) != CL_SUCCESS)
    {
        strError = "no OpenCL platform: is OCL_ICD_VENDORS set to the folder of nordvane.icd?";
        return false;
    }
    device = nullptr;
    for (cl_platform_id candidate : vPlatforms)
    {
        cl_device_id gpu = nullptr;
        if (clGetDeviceIDs(candidate, CL_DEVICE_TYPE_GPU, 1, &gpu, nullptr) != CL_SUCCESS)
        {
            continue;
        }
        char vVendor[256] = {};
        clGetPlatformInfo(candidate, CL_PLATFORM_VENDOR, sizeof(vVendor) - 1, vVendor, nullptr);
        if (device == nullptr || std::string(vVendor) == VENDOR)
        {
            platform = candidate;
            device = gpu;
        }
    }
    if (device == nullptr)
    {
        strError = "no OpenCL GPU device";
        return false;
    }
    return true;
}

int Report(const std::string& strMessage, int nCode)
{
    std::cerr << "xancldb: " << strMessage << std::endl;
    return nCode;
}
} // namespace

int main(int argc, char** argv)
{
    std::string strLaunch;
    std::string strScript;
    bool bBatch = false;
    bool bJson = false;
    bool bVerify = false;
    CLI::App app("xancldb: debug one OpenCL kernel launch at the level of its IL", "xancldb");
    app.set_help_flag();
    bool bHelp = false;
    app.add_flag("-h,--help", bHelp, "The manual");
    app.add_flag("--batch", bBatch, "Commands from -x SCRIPT or standard input only");
    app.add_flag("--json", bJson, "One JSON object per stop, output and error");
    app.add_flag("--verify", bVerify, "Compare the final buffers with a native run");
    app.add_option("-x", strScript, "Run the commands of a script first");
    app.add_option("launch", strLaunch, "The launch file (TOML)");
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& error)
    {
        return Report(std::string(error.what()) + "; xancldb --help tells more", EXIT_BAD_SETUP);
    }
    if (bHelp)
    {
        std::cout << GetHelpText("");
        return 0;
    }
    if (strLaunch.empty())
    {
        return Report("a launch file is needed: xancldb [options] LAUNCH.toml", EXIT_BAD_SETUP);
    }

    XAN_Launch::CLaunchDescription launch;
    std::string strError;
    if (!launch.Load(strLaunch, strError))
    {
        return Report(strError, EXIT_BAD_SETUP);
    }
    CLineReader input;
    if (!strScript.empty() && !input.OpenScript(strScript))
    {
        return Report(strScript + ": can't read the script", EXIT_BAD_SETUP);
    }
    const bool bTerminal = isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0;
    input.UseInput(!bBatch || strScript.empty(), !bBatch && bTerminal);

    // The platform reads its device family once, before it lists its platforms.
    if (!launch.GetDevice().empty())
    {
        setenv("NORDVANE_OCL_DEVICE", launch.GetDevice().c_str(), 0);
    }
    cl_platform_id platform = nullptr;
    cl_device_id device = nullptr;
    if (!FindDevice(platform, device, strError))
    {
        return Report(strError, EXIT_BAD_SETUP);
    }
    const std::string strDeviceName = DeviceString(device, CL_DEVICE_NAME);
    if (!launch.GetDevice().empty() && Lower(strDeviceName) != Lower(launch.GetDevice()))
    {
        return Report(strLaunch + " needs the device " + launch.GetDevice() +
                          ", the platform has " + strDeviceName +
                          " (NORDVANE_OCL_DEVICE chooses it)",
                      EXIT_BAD_SETUP);
    }
    CDebugLibrary library;
    if (!library.Load(strError))
    {
        return Report(strError, EXIT_BAD_SETUP);
    }
    CProgress::CountKernels(library);

    const cl_context_properties vProperties[] = {CL_CONTEXT_PLATFORM,
                                                 cl_context_properties(platform), 0};
    cl_int nError = CL_SUCCESS;
    cl_context context =
        library.xanclInterceptCreateContext(vProperties, 1, &device, nullptr, nullptr, &nError);
    if (context == nullptr)
    {
        return Report("the debug context can't be made: error " + std::to_string(nError),
                      EXIT_BAD_SETUP);
    }
    cl_command_queue queue = library.xanclInterceptCreateCommandQueue(context, device, 0, &nError);
    if (queue == nullptr)
    {
        clReleaseContext(context);
        return Report("the debug queue can't be made: error " + std::to_string(nError),
                      EXIT_BAD_SETUP);
    }

    SSessionOptions options;
    options.bJson = bJson;
    options.bStopAtError = bBatch;
    options.bEcho = !bJson;
    options.bShowProgress = bTerminal && !bBatch && isatty(STDERR_FILENO) != 0;
    CDebugSession session(launch, library, input, options);
    XAN_Launch::CLaunchRunner::Contents vDebugged;
    const bool bRan = session.Run(context, device, queue, vDebugged, strError);
    int nExit = bRan ? (session.HasFailed() ? EXIT_FAILED : 0) : EXIT_BAD_SETUP;
    if (!bRan)
    {
        Report(strError, EXIT_BAD_SETUP);
    }
    else if (bVerify)
    {
        // The same launch on a context and queue of its own, which nothing intercepts.
        cl_context native = clCreateContext(vProperties, 1, &device, nullptr, nullptr, &nError);
        cl_command_queue nativeQueue =
            native != nullptr ? clCreateCommandQueue(native, device, 0, &nError) : nullptr;
        XAN_Launch::CLaunchRunner::Contents vNative;
        std::string strReport;
        bool bNativeRan = false;
        if (nativeQueue != nullptr)
        {
            XAN_Launch::CLaunchRunner runner(native, device, nativeQueue);
            bNativeRan = runner.Run(launch, vNative, strError);
            strReport = bNativeRan ? XAN_Launch::CLaunchRunner::Compare(launch, vDebugged, vNative)
                                   : "the native run failed: " + strError + "\n";
        }
        else
        {
            strReport = "the native run failed: no context or queue, error " +
                        std::to_string(nError) + "\n";
        }
        const bool bIdentical = bNativeRan && strReport.empty();
        if (bJson)
        {
            std::cout << CJsonReport::Verify(bIdentical, strReport) << std::endl;
        }
        else
        {
            std::cout << (bIdentical
                              ? "verify: the final buffers are identical to a native run\n"
                              : "verify: the final buffers differ from a native run:\n" + strReport)
                      << std::flush;
        }
        nExit = bIdentical ? nExit : EXIT_FAILED;
        if (nativeQueue != nullptr)
        {
            clReleaseCommandQueue(nativeQueue);
        }
        if (native != nullptr)
        {
            clReleaseContext(native);
        }
    }
    clReleaseCommandQueue(queue);
    clReleaseContext(context);
    return nExit;
}
