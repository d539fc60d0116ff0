# Warnings are errors in our own code; third-party headers come in as system headers.
function(moritane_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Werror
        -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
        -Wcast-qual -Wformat=2 -Wimplicit-fallthrough -Wmissing-declarations
        # GCC 12 reports std::optional members of aggregates built in initializer lists as
        # maybe-uninitialized at -O2 (GCC bug 105562); the sanitizer build checks the real thing.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>
        # PipeWire's and SPA's macros are GNU statement expressions, which clang blames on the
        # code that uses them.
        $<$<CXX_COMPILER_ID:Clang>:-Wno-gnu-statement-expression>)
endfunction()
