#pragma once

namespace http {

// Watches the raw bytes of a request's head and finds its lines. It is stricter than parsers are:
// every line ends in CR LF, neither stands alone, no other control byte but a tab is let through,
// no line begins with a blank (RFC 9112 sections 2.2, 5.2). So nothing that another program could
// read as a second line, or as the end of the head, comes further than here.
class HeaderScanner
{
public:
    enum class Step
    {
        Inside,
        EmptyLine, // before the request line, where it is to be skipped
        RequestLineEnd,
        FieldLineEnd,
        HeadEnd,
        Malformed,
    };

    Step take(char byte)
    {
        if (m_afterReturn) {
            return byte == '\n' ? endLine() : Step::Malformed;
        }
        if (byte == '\r') {
            m_afterReturn = true;
            return Step::Inside;
        }
        const bool blank = byte == ' ' || byte == '\t';
        if (isControl(byte) || (blank && m_atLineStart)) {
            return Step::Malformed;
        }
        m_atLineStart = false;
        return Step::Inside;
    }

private:
    static bool isControl(char byte)
    {
        const auto value = static_cast<unsigned char>(byte);
        return (value < 0x20 && byte != '\t') || value == 0x7f;
    }

    Step endLine()
    {
        const bool empty = m_atLineStart;
        m_afterReturn = false;
        m_atLineStart = true;
        if (m_inFields) {
            return empty ? Step::HeadEnd : Step::FieldLineEnd;
        }
        m_inFields = !empty;
        return empty ? Step::EmptyLine : Step::RequestLineEnd;
    }

    bool m_afterReturn = false;
    bool m_atLineStart = true;
    bool m_inFields = false;
};

} // namespace http
