// libfp_utils.so has no sources of its own: it is linked from the whole of fp_utils_internal.
// CMake needs one source file per library target; this is it.
