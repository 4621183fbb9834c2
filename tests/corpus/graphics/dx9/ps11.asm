// A model 1.1 shader: analysis only, it needs both of its temporaries.
ps_1_1
def c0, 0.5, 0.5, 0.5, 1
tex t0
mul r0, t0, v0
add r1, r0, c0
mad r0, r1, c0, r0_bias
+mov r0.w, c0.w
