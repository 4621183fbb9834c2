// Straight-line arithmetic over every operation the executor runs.
ps_2_0
dcl t0.xy
dcl v0
def c1, 0.5, -1.5, 2, 4
mov r0, t0
add r1, r0, c1
sub r2.xy, r1, v0
mul r3, r1, c0
mad r4, r0, c1.x, c1.yzwx
dp3 r5.x, r1, c1
dp4 r5.y, r1, c1
min r5.z, r0.x, c1.x
max r5.w, r0.y, c1.y
rcp r6.x, c1.w
rsq r6.y, c1.w
frc r6.zw, r1.xyxy
cmp r7, r2, c1, -c1
add r8, r5, r6
mul r8, r8, r7
add r8, r8, -r4_abs
mov_sat oC0, r8
mov oC1, r3
