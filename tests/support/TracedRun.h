#ifndef XAN_TEST_TRACED_RUN_H
#define XAN_TEST_TRACED_RUN_H

#include "xan_execution_trace.h"

#include <dlfcn.h>

#include <fstream>
#include <string>

namespace XAN_Test
{
// The platform's entry to a traced run, found in the library that the loader's vendors folder
// names; null when it can't be loaded.
inline PFN_xanPlatformRunTracedKernel FindTracedRun(const std::string& strVendorsDir)
{
    std::ifstream icd(strVendorsDir + "/nordvane.icd");
    std::string strPath;
    std::getline(icd, strPath);
    void* pLibrary = dlopen(strPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    return pLibrary != nullptr ? reinterpret_cast<PFN_xanPlatformRunTracedKernel>(
                                     dlsym(pLibrary, XAN_RUN_TRACED_KERNEL_NAME))
                               : nullptr;
}
} // namespace XAN_Test

#endif
