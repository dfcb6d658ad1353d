#pragma once

namespace http {

// Scans the raw bytes of a request head and finds its lines. It is stricter than most parsers:
// every line ends in CR LF, neither may appear alone, no control byte but a tab is allowed, and no
// line begins with white space (RFC 9112 sections 2.2, 5.2). So nothing that another program could
// read as an extra line, or as the end of the head, gets past here.
class HeaderScanner
{
public:
    enum class Step
    {
        Inside,
        EmptyLine, // before the request line; to be skipped
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
