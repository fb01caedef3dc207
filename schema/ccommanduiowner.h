#pragma once

// What a generated command form asks of the page it stands on.
class CCommandUiOwner
{
public:
    virtual ~CCommandUiOwner() = default;

    // A form of the page sent a command: the page logs the dongle's responses from now on.
    virtual void setUplinkEnabled(bool enabled) = 0;
    // The page's picture of its link while parameters change: 0 linked, 1 updating, 2 lost.
    virtual int linkState() const = 0;
    virtual void setLinkState(int state) = 0;
};
