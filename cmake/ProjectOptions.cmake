# One interface target carries the warnings, Qt defines and sanitizer flags of every target.
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
