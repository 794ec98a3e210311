/// @file
/// Where the component's own words go.
#pragma once

#include "FileDescriptor.h"

#include <mutex>
#include <string>

namespace kqplay {

/// Keeps the terminal to ourselves.
///
/// The component prints to standard output and logs through KQ_Log. Both go where the user wants them: to a
/// file, to standard error, or nowhere. What kqplay itself has to say goes to Screen(), the standard output
/// that the process was started with.
class ComponentOutput {
public:
    ~ComponentOutput();

    /// Takes standard output over and installs the log sink. To be called once, before anything is printed.
    /// @param logPath file that receives the output, or empty
    /// @param verbose without a file: standard error receives it
    /// @return false with the reason in @p error when the file cannot be written
    bool Redirect(const std::string& logPath, bool verbose, std::string& error);

    /// @return descriptor of the standard output that the process was started with
    int Screen() const { return m_screen.Get(); }

    /// @return why the image library could not write the last file that it could not write, once; then empty
    std::string TakeImageComplaint();

    /// Writes one line beside the component's own. Safe from any thread.
    void Note(const std::string& line) const;

    /// While it lives, what libraries write to standard error goes the component's way too: sound libraries
    /// report there every device that they do not find.
    class QuietErrors {
    public:
        explicit QuietErrors(const ComponentOutput& output);
        ~QuietErrors();
        QuietErrors(const QuietErrors&) = delete;
        QuietErrors& operator=(const QuietErrors&) = delete;

    private:
        FileDescriptor m_errors;
    };

private:
    static void TakeRecord(const char* text, void* userData);

    FileDescriptor m_screen;
    FileDescriptor m_target;
    std::mutex m_lock;
    std::string m_imageRecord;
};

} // namespace kqplay
