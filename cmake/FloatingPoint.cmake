# The same floating-point results on every architecture. Compilers for 64-bit
# Arm fuse a*b+c into one multiply-add with a single rounding (GCC does so
# for C++ by default, clang within an expression), which an x86-64 build
# without FMA never does: the clustering texts and the detectors' verdicts
# would then depend on the machine. Android.bp sets the same flag.
add_compile_options(-ffp-contract=off)
