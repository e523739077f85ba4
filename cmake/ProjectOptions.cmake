# One interface target carries the warnings, Qt defines, sanitizer and hardening flags of every
# target.
add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE -Wall -Wextra -Wpedantic)
target_compile_definitions(project_options INTERFACE
    QT_NO_FOREACH
    QT_DISABLE_DEPRECATED_BEFORE=0x060400)
if(WARNINGS_AS_ERRORS)
    target_compile_options(project_options INTERFACE -Werror)
endif()
if(SANITIZE)
    target_compile_options(project_options INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(project_options INTERFACE -fsanitize=address,undefined)
endif()
# Checked functions where the compiler knows the buffer sizes, guarded stacks, and relocations
# resolved at start and then made read-only, as Debian builds its packages.
if(HARDENING)
    target_compile_definitions(project_options INTERFACE _FORTIFY_SOURCE=2)
    target_compile_options(project_options INTERFACE -fstack-protector-strong)
    target_link_options(project_options INTERFACE LINKER:-z,relro,-z,now)
endif()
