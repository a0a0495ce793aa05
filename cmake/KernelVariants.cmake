# One body per kernel family, compiled at three instruction-set levels. The level is never fixed for
# the whole binary: the dispatcher picks one table at load time.
#
# corvane_kernel_variant_flags(<sources>) gives each kernel source its level's flags, in the calling
# directory (source properties are seen by the targets of the directory that sets them). Files are
# matched by name: <Family>Sse2.cpp, <Family>Avx2.cpp, <Family>Avx512.cpp, <Family>Reference.cpp.
set(VARIANT_FLAGS_Sse2 "-march=x86-64;-mtune=generic")
set(VARIANT_FLAGS_Avx2 "-march=x86-64-v3;-mtune=generic")
set(VARIANT_FLAGS_Avx512 "-march=x86-64-v4;-mtune=generic;-mprefer-vector-width=512")

function(corvane_kernel_variant_flags)
    foreach(f ${ARGN})
        foreach(v Sse2 Avx2 Avx512)
            if(f MATCHES "${v}\\.cpp$")
                set_source_files_properties(${f} PROPERTIES
                    COMPILE_OPTIONS "${VARIANT_FLAGS_${v}};-O3;-fno-math-errno;-fno-trapping-math")
            endif()
        endforeach()
        # The reference kernels are plain loops and stay plain.
        if(f MATCHES "Reference\\.cpp$")
            set_source_files_properties(${f} PROPERTIES COMPILE_OPTIONS "-fno-tree-vectorize")
        endif()
    endforeach()
endfunction()
