// made by drivers/make_drivers.py from protocol/protocol.json
// end of what is made
