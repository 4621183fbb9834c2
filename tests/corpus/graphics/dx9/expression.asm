// oC0 written by an expression rather than a move, and a second target.
ps_3_0
dcl_texcoord0 v0
dcl_color0 v1
def c0, 0.25, 0.5, 0.75, 1
mul r0, v0, c0
mad oC0, r0, v1, c0.x
add oC1, r0.wzyx, v1
