#ifndef CL_EXTENSIONS_H
#define CL_EXTENSIONS_H

#include <CL/cl.h>

// The runtime's two extensions that let a launch be debugged where it runs: the intercept
// callback, and a key under which an event carries its debug state.

// The context property that holds the intercept callback, and the queue flag that has a
// queue's commands offered to it.
const cl_context_properties CONTEXT_INTERCEPT_CALLBACK_PROPERTY = 0x403D;
const cl_command_queue_properties QUEUE_INTERCEPT_FLAG = 0x8000000000000000ULL;

// "cl_xan_event_callback" among the extensions of the device's platform.
bool HasEventCallbackExtension(cl_device_id device);
// Either family of object metadata, listed or at least found by name.
bool HasObjectMetadataExtension(cl_device_id device);
// Creates the process's one key on the queue's platform, the first time it is called.
bool InitMetadataKey(cl_command_queue commandQueue);

// Set and read the value of an event under the key, through the XAN family when it was found,
// else the EXT one; -1 when neither was.
cl_int SetEventValue(cl_event event, void* pValue);
cl_int GetEventValue(cl_event event, void** ppValue);

#endif
