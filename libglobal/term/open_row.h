// A line that stands on the screen in one row, the cursor at its end and nothing behind it but its hint. What is typed
// on there is drawn without readline, which lays out the whole line for each key and compares it with the one before.
// Nothing here prints.
#pragma once

#include <string>
#include <string_view>

namespace rv {

class OpenRow {
 public:
    // readline has drawn line and hint; so many columns of the row are left behind line.
    void open(std::string_view line, std::string_view hint, int left);
    // What stands on the screen is not known any more, or known to readline alone.
    void close();
    // Whether more stands there than readline has drawn: it has to begin anew.
    bool is_ahead() const { return is_ahead_; }

    // Puts what is to be written so that line and hint stand there into *output. Returns false, and nothing has
    // changed, where line is not the one before with characters of one column added, or the row would be full.
    bool type_on(std::string_view line, std::string_view hint, std::string_view hint_color, std::string *output);

 private:
    bool is_open_ = false, is_ahead_ = false;
    std::string line_;
    int hint_width_ = 0;
    int left_ = 0;
};

}  // namespace rv
