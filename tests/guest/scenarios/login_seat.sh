# A login manager registers the session with logind, which names it by its seat: the display is behind it in
# parentheses.
configure DaemonLogLevel=4
login alice seat0 :0
read -ra words < <(who -u)
expect_equal 'alice seat0 (:0)' "${words[0]} ${words[1]} ${words[-1]}"
start_daemon
expect_status 0
wait_event 'agent alice *'
expect_log is_user_logged_in_locally D 'user alice logged in locally'

logout seat0
agent_ends exit 0
wait_event 'agent root *'
