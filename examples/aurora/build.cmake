zelsr_example(aurora)
target_link_libraries(aurora PRIVATE word_recogniser)  # that compares features
