// Each work-item sorts eight values in a private array.
void swap_if_greater(int* values, int i, int j)
{
    if (values[i] > values[j])
    {
        int t = values[i];
        values[i] = values[j];
        values[j] = t;
    }
}

__kernel void sort8(__global const int* in, __global int* out)
{
    int values[8];
    int base = get_global_id(0) * 8;
    for (int i = 0; i < 8; ++i)
        values[i] = in[base + i];
    for (int pass = 0; pass < 7; ++pass)
        for (int i = 0; i < 7 - pass; ++i)
            swap_if_greater(values, i, i + 1);
    for (int i = 0; i < 8; ++i)
        out[base + i] = values[i];
}
