// A function that returns from inside a loop and a kernel that returns early.
int find(__global const int* v, int n, int x)
{
    for (int i = 0; i < n; ++i)
    {
        if (v[i] == x)
            return i;
    }
    return -1;
}

__kernel void k(__global const int* v, __global int* o, int n)
{
    int i = get_global_id(0);
    if (i >= n)
        return;
    int j = 0;
    while (j < i)
        j += 2;
    o[i] = find(v, n, i) + j;
}
