// Recordings of words as a folder keeps them: what a recogniser is trained and tested on.
#pragma once

#include <string>
#include <vector>

namespace zelsr::examples {

struct Recording {
    std::string path;            // as a message would name it
    std::string word;            // the folder's name; of an utterance, its words with a space between two
    int rate = 0;                // samples a second
    std::vector<float> samples;  // in parts of full scale
};

// A folder of folders, each named after a word and with recordings of it in sound files of any format:
//
//     words/yes/anna_1.flac   words/yes/ben.wav   words/no/anna_1.flac
//
// In the order of the names, so that the result does not depend on the file system. Hidden files are passed over.
// What else is no recording (.txt, .csv, .json, .md, .lab and the like, files beside the words' folders, folders
// in them) is left out, and the remarks, if there are any to fill, say so in a line each. Throws Failure, one line
// that begins with the path that it is about: nothing there, a file that is no sound, more than one channel, a
// rate unlike the first file's, shorter than 0.1 s or longer than 10 s, silence, a name with blanks.
std::vector<Recording> read_word_folder(const std::string& path, std::vector<std::string>* remarks = nullptr);

// A folder of sound files, each with what is said in a text file of its name, words with blanks between them:
//
//     connected/anna_1.flac   connected/anna_1.txt
//
// Otherwise as above; an utterance may be 60 s long.
std::vector<Recording> read_utterance_folder(const std::string& path, std::vector<std::string>* remarks = nullptr);

// One recording, its word left empty, with the same checks as an utterance's.
Recording read_recording(const std::string& path, std::vector<std::string>* remarks = nullptr);

}  // namespace zelsr::examples
