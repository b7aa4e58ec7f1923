zelsr_example(aurora)
target_link_libraries(aurora PRIVATE word_recogniser)  # that compares features

zelsr_words_test(aurora $<TARGET_FILE:aurora> ${speech} ${words})
