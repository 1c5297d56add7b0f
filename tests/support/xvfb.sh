# Sourced by the shell tests: start_xvfb SCREEN (such as 1024x768x24) starts an X
# server on a display it picks itself and sets XVFB_DISPLAY and XVFB_PID, which
# the caller kills when it is done.
start_xvfb() {
    local number
    number=$(mktemp)
    Xvfb -displayfd 3 -screen 0 "$1" -nolisten tcp 3>"$number" >/dev/null 2>&1 </dev/null &
    XVFB_PID=$!
    for _ in $(seq 100); do
        [ -s "$number" ] && break
        sleep 0.1
    done
    XVFB_DISPLAY=:$(head -n 1 "$number")
    rm -f "$number"
    [ "$XVFB_DISPLAY" != ":" ]
}
