# AddressSanitizer and UndefinedBehaviorSanitizer for every target; any report fails.
add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
add_link_options(-fsanitize=address,undefined)
