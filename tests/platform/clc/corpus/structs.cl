// Structs in buffers: members read and written through pointers, and a private copy.
typedef struct
{
    float x;
    int n;
    float2 v;
} Item;

__kernel void structs(__global Item* items, __global float* out)
{
    int i = get_global_id(0);
    Item it = items[i];
    it.x = it.x * 2.0f + it.v.y;
    items[i].n = it.n + i;
    out[i] = it.x + (float)it.n;
}
