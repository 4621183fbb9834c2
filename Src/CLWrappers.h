#ifndef CL_WRAPPERS_H
#define CL_WRAPPERS_H

#include "KernelInfo.h"

#include <CL/cl.h>

#include <boost/thread/mutex.hpp>

#include <map>
#include <vector>

class OpenCLModule;

// The kernels created through the interception exports, with their arguments: OpenCL doesn't
// give an argument back once it is set, and the debugger needs to rebind them.
extern std::map<cl_kernel, KernelInfo> g_mapKernelToInfo;
// Guards g_mapKernelToInfo; taken alone, never while calling the front-end.
extern boost::mutex g_mapKernelToInfoMutex;

// Gives the kernel a fresh entry with an empty argument per kernel argument, named and typed
// from the kernel's metadata when the program has a GPU device. A kernel already tracked loses
// its former entry.
bool AddKernelToMap(cl_program program, cl_kernel kernel);
bool RemoveKernelFromMap(cl_kernel kernel);

// The devices of a program and, for each, its binary (empty for a device without one).
cl_int GetProgramBinaries(const OpenCLModule& module, cl_program program,
                          std::vector<cl_device_id>& vDevices,
                          std::vector<std::vector<char>>& vvBinaries);

// The library's own answers from the tracked arguments, named like the runtime's functions.
// CL_INVALID_KERNEL for an untracked kernel, CL_INVALID_ARG_INDEX for an index beyond its
// arguments.
cl_int clGetKernelArg(cl_kernel kernel, cl_uint arg_index, const void** arg_value,
                      size_t* arg_size);

// Param names of clGetKernelArgInfo beside the runtime's own.
enum : cl_uint
{
    XAN_KERNEL_ARG_RESERVED_0 = 0x21A0,
    XAN_KERNEL_ARG_RESERVED_1 = 0x21A1,
    XAN_KERNEL_ARG_RESERVED_2 = 0x21A2,
    XAN_KERNEL_ARG_NAME = 0x21A3,
    XAN_KERNEL_ARG_KIND = 0x21A4,
    XAN_KERNEL_ARG_RESOURCE_ID = 0x21A5
};
// What the three reserved names answer.
const cl_int XAN_KERNEL_ARG_INFO_RESERVED = -2065;

// The name or kind of an argument as text, or its resource id in 4 bytes. The runtime's function
// of this name is never called by the library; this one answers from g_mapKernelToInfo.
extern "C" cl_int clGetKernelArgInfo(cl_kernel kernel, cl_uint arg_index, cl_uint param_name,
                                     size_t param_value_size, void* param_value,
                                     size_t* param_value_size_ret);

#endif
