// Constants indexed by aL, with and without an offset, from def and from the application.
ps_3_0
dcl_texcoord0 v0
defi i0, 3, 0, 1, 0
defi i1, 2, 1, 2, 0
def c10, 1, 2, 3, 4
def c11, 10, 20, 30, 40
def c12, 100, 200, 300, 400
mov r0, v0.w
loop aL, i0
  add r0, r0, c[aL + 10]
endloop
loop aL, i1
  mad r0, r0, c[aL].x, c[aL + 9]
endloop
mov oC0, r0
