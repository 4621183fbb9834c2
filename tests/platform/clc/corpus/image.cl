// Image kernels: a box blur through a sampler argument, a rotation through integer reads with
// the image queries, and a wrapping read through a constant sampler.
__constant sampler_t g_wrap = CLK_NORMALIZED_COORDS_TRUE | CLK_ADDRESS_REPEAT | CLK_FILTER_NEAREST;

__kernel void blur(__read_only image2d_t src, __write_only image2d_t dst, sampler_t smp)
{
    const int x = get_global_id(0);
    const int y = get_global_id(1);
    float4 sum = (float4)(0.0f);
    for (int dy = -1; dy <= 1; ++dy)
    {
        for (int dx = -1; dx <= 1; ++dx)
        {
            sum += read_imagef(src, smp, (int2)(x + dx, y + dy));
        }
    }
    write_imagef(dst, (int2)(x, y), sum / 9.0f);
}

__kernel void rotate(__read_only image2d_t src, __write_only image2d_t dst, __global int* info)
{
    const int x = get_global_id(0);
    const int y = get_global_id(1);
    const int h = get_image_height(src);
    write_imageui(dst, (int2)(h - 1 - y, x), read_imageui(src, (int2)(x, y)));
    if (x == 0 && y == 0)
    {
        const int2 dim = get_image_dim(dst);
        info[0] = get_image_width(src);
        info[1] = h;
        info[2] = get_image_channel_order(src);
        info[3] = get_image_channel_data_type(src);
        info[4] = dim.x;
        info[5] = dim.y;
    }
}

__kernel void wrap(__read_only image2d_t src, __global float4* out)
{
    const int x = get_global_id(0);
    const float w = (float)get_image_width(src);
    out[x] = read_imagef(src, g_wrap, (float2)(((float)x + 0.5f) / w + 1.0f, 0.25f));
}
