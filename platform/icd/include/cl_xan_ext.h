/* The Nordvane platform's own OpenCL extensions, for applications and debuggers:
 *
 * cl_xan_event_callback: a context created with CL_CONTEXT_INTERCEPT_CALLBACK_XAN calls that
 * callback for every command of a queue created with CL_QUEUE_INTERCEPT_XAN, on the queue's
 * worker thread, when the command is ready to run. A true result completes the command with
 * *status (0 gives CL_COMPLETE); false lets the platform run it.
 *
 * cl_xan_object_metadata: process-wide keys under which any OpenCL object holds one pointer.
 * The functions are reached through clGetExtensionFunctionAddress.
 */
#ifndef CL_XAN_EXT_H
#define CL_XAN_EXT_H

#include <CL/cl.h>

#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C"
{
#endif

#define CL_CONTEXT_INTERCEPT_CALLBACK_XAN 0x403D
#define CL_QUEUE_INTERCEPT_XAN ((cl_command_queue_properties)1 << 63)

    /* Only the low byte of the result counts. */
    typedef bool(CL_CALLBACK* cl_xan_intercept_callback)(cl_event event, cl_int* status);

    /* 0 is never a valid key. */
    typedef cl_uint cl_key_xan;

    typedef cl_key_xan(CL_API_CALL* clCreateKeyXAN_fn)(cl_platform_id platform,
                                                       void(CL_CALLBACK* destructor)(void* value),
                                                       cl_int* errcode_ret);
    typedef cl_int(CL_API_CALL* clObjectGetValueForKeyXAN_fn)(void* object, cl_key_xan key,
                                                              void** value);
    typedef cl_int(CL_API_CALL* clObjectSetValueForKeyXAN_fn)(void* object, cl_key_xan key,
                                                              void* value);

#ifdef __cplusplus
}
#endif

#endif
