/* Vector add on the first OpenCL platform, written as any OpenCL application is: the program
 * comes from the IL text file named on the command line (the platform builds IL source), the
 * rest is plain OpenCL 1.2. Exit status 0 when every sum is right. */
#include <CL/cl.h>

#include <stdio.h>
#include <stdlib.h>

#define COUNT 1000

static char* ReadText(const char* pPath)
{
    FILE* pFile = fopen(pPath, "rb");
    if (pFile == NULL)
    {
        return NULL;
    }
    fseek(pFile, 0, SEEK_END);
    long nSize = ftell(pFile);
    fseek(pFile, 0, SEEK_SET);
    char* pText = nSize >= 0 ? malloc((size_t)nSize + 1) : NULL;
    if (pText != NULL)
    {
        size_t nRead = fread(pText, 1, (size_t)nSize, pFile);
        pText[nRead] = '\0';
    }
    fclose(pFile);
    return pText;
}

static int Check(cl_int nError, const char* pWhat)
{
    if (nError != CL_SUCCESS)
    {
        fprintf(stderr, "vadd: %s failed with %d\n", pWhat, nError);
        return 0;
    }
    return 1;
}

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        fprintf(stderr, "usage: vadd KERNEL.il\n");
        return 2;
    }

    cl_platform_id platform;
    cl_device_id device;
    cl_int nError = clGetPlatformIDs(1, &platform, NULL);
    if (!Check(nError, "clGetPlatformIDs") ||
        !Check(clGetDeviceIDs(platform, CL_DEVICE_TYPE_GPU, 1, &device, NULL), "clGetDeviceIDs"))
    {
        return 1;
    }
    cl_context context = clCreateContext(NULL, 1, &device, NULL, NULL, &nError);
    if (!Check(nError, "clCreateContext"))
    {
        return 1;
    }
    cl_command_queue queue = clCreateCommandQueue(context, device, 0, &nError);
    char* pSource = ReadText(argv[1]);
    if (pSource == NULL)
    {
        fprintf(stderr, "vadd: can't read %s\n", argv[1]);
        return 2;
    }
    cl_program program =
        clCreateProgramWithSource(context, 1, (const char**)&pSource, NULL, &nError);
    free(pSource);
    if (!Check(nError, "clCreateProgramWithSource"))
    {
        return 1;
    }
    if (clBuildProgram(program, 1, &device, NULL, NULL, NULL) != CL_SUCCESS)
    {
        char log[8192];
        clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, sizeof(log), log, NULL);
        fprintf(stderr, "vadd: the build failed:\n%s", log);
        return 1;
    }
    cl_kernel kernel = clCreateKernel(program, "vadd", &nError);
    if (!Check(nError, "clCreateKernel"))
    {
        return 1;
    }

    float a[COUNT], b[COUNT], c[COUNT];
    for (int i = 0; i < COUNT; ++i)
    {
        a[i] = (float)i;
        b[i] = 0.5f * (float)i;
        c[i] = -1.0f;
    }
    cl_mem bufferA =
        clCreateBuffer(context, CL_MEM_READ_ONLY | CL_MEM_COPY_HOST_PTR, sizeof(a), a, &nError);
    cl_mem bufferB =
        clCreateBuffer(context, CL_MEM_READ_ONLY | CL_MEM_COPY_HOST_PTR, sizeof(b), b, &nError);
    cl_mem bufferC = clCreateBuffer(context, CL_MEM_WRITE_ONLY, sizeof(c), NULL, &nError);
    if (!Check(nError, "clCreateBuffer"))
    {
        return 1;
    }
    cl_int n = COUNT;
    clSetKernelArg(kernel, 0, sizeof(cl_mem), &bufferA);
    clSetKernelArg(kernel, 1, sizeof(cl_mem), &bufferB);
    clSetKernelArg(kernel, 2, sizeof(cl_mem), &bufferC);
    clSetKernelArg(kernel, 3, sizeof(n), &n);

    /* More work-items than elements, so that the kernel's bounds check matters. */
    size_t nGlobal = 1024;
    size_t nLocal = 64;
    cl_event done;
    if (!Check(clEnqueueNDRangeKernel(queue, kernel, 1, NULL, &nGlobal, &nLocal, 0, NULL, &done),
               "clEnqueueNDRangeKernel") ||
        !Check(clEnqueueReadBuffer(queue, bufferC, CL_TRUE, 0, sizeof(c), c, 1, &done, NULL),
               "clEnqueueReadBuffer"))
    {
        return 1;
    }
    int nWrong = 0;
    for (int i = 0; i < COUNT; ++i)
    {
        if (c[i] != a[i] + b[i])
        {
            if (nWrong++ < 5)
            {
                fprintf(stderr, "vadd: c[%d] = %g, expected %g\n", i, c[i], a[i] + b[i]);
            }
        }
    }

    clReleaseEvent(done);
    clReleaseMemObject(bufferA);
    clReleaseMemObject(bufferB);
    clReleaseMemObject(bufferC);
    clReleaseKernel(kernel);
    clReleaseProgram(program);
    clReleaseCommandQueue(queue);
    clReleaseContext(context);
    if (nWrong != 0)
    {
        fprintf(stderr, "vadd: %d of %d sums are wrong\n", nWrong, COUNT);
        return 1;
    }
    printf("vadd: %d sums correct\n", COUNT);
    return 0;
}
