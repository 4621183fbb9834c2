// switch with fall-through, nested loops with break and continue, do-while, and a function
// with several returns.
int classify(int v)
{
    int r = 0;
    switch (v & 7)
    {
    case 0:
        r = 10;
    case 1:
        r += 1;
        break;
    case 2:
    case 3:
        r = 20;
        break;
    default:
        r = -v;
        break;
    }
    return r;
}

int first_multiple(int start, int m)
{
    for (int k = start; k < start + 100; ++k)
    {
        if (k % m == 0)
            return k;
    }
    return -1;
}

__kernel void control(__global int* out)
{
    int i = get_global_id(0);
    int acc = 0;
    for (int j = 0; j < 8; ++j)
    {
        if (j == i % 5)
            continue;
        int k = 0;
        while (1)
        {
            if (k > j)
                break;
            acc += classify(i + j + k);
            k++;
        }
        if (acc > 500 + i)
            break;
    }
    int d = 0;
    do
    {
        d += 3;
    } while (d < i);
    out[i] = acc * 1000 + d + first_multiple(i, 7) * 100000;
}
