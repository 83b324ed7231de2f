/// \file
/// \brief What libraries write on standard error.
#pragma once

/// Lets it vanish as long as this lives.
class hidden_chatter
{
public:
    hidden_chatter();
    ~hidden_chatter();

    hidden_chatter(const hidden_chatter&) = delete;
    hidden_chatter& operator=(const hidden_chatter&) = delete;

private:
    const int standard_error_;
};
