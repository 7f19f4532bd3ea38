"""Orca beside the client: it speaks what happens, each sentence once, and nothing else."""

import json
import os

from stage import Atspi, check, is_showing, labctl, scene, until

USER, PASSWORD = os.environ.get("VELMORA_LAB_USER"), os.environ.get("VELMORA_LAB_PASSWORD")
FAVORITES = 2

# Speech goes into a file, a sentence a line, and as sound to nowhere.
DISPATCHER = """
mkdir -p $1/modules
printf '%s\\n' 'AudioOutputMethod "libao"' 'AddModule "file" "sd_generic" "file.conf"' \
    'DefaultModule "file"' >$1/speechd.conf
printf '%s\\n' "GenericExecuteSynth \\"echo \\\\'\\$DATA\\\\' >>$1/spoken\\"" 'GenericMaxChunkLength 3000' \
    'GenericDelimiters "^"' 'AddVoice "en" "male1" "one"' >$1/modules/file.conf
echo default_driver=null >~/.libao
touch $1/spoken
exec speech-dispatcher --run-single --timeout 0 --config-dir $1 --socket-path $1/../speech-dispatcher/speechd.sock
"""


class Orca:
    def __init__(self, stage):
        folder = os.path.join(os.environ["XDG_RUNTIME_DIR"], "speech")
        self.path = os.path.join(folder, "spoken")
        self.sentences = 0
        stage.spawn("speech", "sh", "-c", DISPATCHER, "speech", folder)
        until("a speech dispatcher", lambda: os.path.exists(self.path))
        stage.spawn("orca", "orca")
        self.speaks("Screen reader on")

    def new_sentences(self):
        """Without the names of keys, which end in a blank."""
        with open(self.path, encoding="utf-8") as file:
            spoken = [line.removesuffix("\n").removesuffix(".") for line in file]
        # Later versions call it "button" alone.
        return [each.replace("push button", "button") for each in spoken if not each.endswith(" ")][self.sentences:]

    def speaks(self, *sentences):
        """Waits for the last of these sentences. They and nothing else have been spoken since the last call, so that a
        call says of the last one that it was not repeated."""
        try:
            until(f"“{sentences[-1]}” spoken", lambda: sentences[-1] in self.new_sentences())
        finally:
            seen = self.new_sentences()
            check("spoken, each once and in this order", seen == list(sentences), seen)
        self.sentences += len(sentences)


def button(client, name):
    """Looks at no row: one that is not on screen is drawn for it, and the many events let Orca drop others."""
    def look(node):
        if node.get_name() == name and node.get_role() == Atspi.Role.PUSH_BUTTON and is_showing(node):
            return node
        rows = node.get_role() == Atspi.Role.LIST
        children = [] if rows else (node.get_child_at_index(i) for i in range(node.get_child_count()))
        return next(filter(None, map(look, filter(None, children))), None)
    return until(f"“{name}” on screen", lambda: look(client.desktop.application()))


def press(client, name):
    client.desktop.press(button(client, name))


def signed_in(stage):
    orca = Orca(stage)
    client = stage.start_client()
    orca.speaks("Velmora frame", "User name text")
    client.desktop.type(USER)
    client.desktop.key("Tab")
    orca.speaks("Password password text")
    client.desktop.type(PASSWORD)
    client.desktop.key("Return")
    orca.speaks("Quick Connect button", "Home, Disconnected")
    return orca, client


@scene("orca")
def orca_speaks_a_tunnel(stage):
    orca, client = signed_in(stage)
    # The home screen before stays behind this one and follows the tunnel too.
    press(client, "Settings")
    orca.speaks("Change password button", "Settings")
    press(client, "Back to home")
    orca.speaks("Quick Connect button", "Home, Disconnected")
    client.choose("Berlin")
    others = len(labctl("endpoints")[1].splitlines()) - FAVORITES
    orca.speaks("All locations", f"List with {others} items", "Berlin, not a favourite")
    press(client, "Quick Connect")
    orca.speaks("Connecting", "Connected")
    stage.run("nmcli", "connection", "down", "Velmora")
    orca.speaks("Disconnecting", "Disconnected")
    labctl("nm", "stop")
    orca.speaks("No NetworkManager: install or start network-manager")


@scene("orca")
def orca_speaks_the_end_of_a_survey(stage):
    # The lists and the progress are drawn several times meanwhile.
    endpoints = [{"id": number, "name": f"City {number}", "country": "US", "address": f"198.18.0.{number}"}
                 for number in range(1, 4)]
    labctl("fault", "body=" + json.dumps({"endpoints": endpoints}), "on", "endpoints")
    orca, client = signed_in(stage)
    client.desktop.focus(button(client, "Measure latencies"))
    orca.speaks("Measure latencies button")
    client.desktop.key("space")
    orca.speaks("Latencies measured")
    press(client, "Settings")
    orca.speaks("Change password button", "Settings")


@scene("orca")
def orca_speaks_what_opens(stage):
    orca, client = signed_in(stage)
    sentence = "New versions of Velmora come with the updates of your system"
    for opener, name, text, button in (
            ("Notice", "Stay up to date", sentence, "Close"),
            ("Installation", "Install updates", "Velmora can tell you how an update is installed", "Show how"),
            ("A few places", "A few places",
             "A short selection, the same for everybody. Open Velmora to choose a location", "Open Velmora")):
        press(client, opener)
        orca.speaks(f"{name} dialog {text}", f"{button} button")
        client.desktop.key("Escape")
        orca.speaks("Velmora frame", "Quick Connect button")
    press(client, "Update")
    orca.speaks(f"Update Velmora dialog {sentence}", "Update button")
    client.desktop.key("Escape")
    orca.speaks("Quick Connect button")


@scene("orca")
def orca_speaks_what_is_missing(stage):
    labctl("nm", "stop")
    orca = Orca(stage)
    client = stage.start_client()
    orca.speaks("Velmora frame", "User name text", "No NetworkManager: install or start network-manager")
    labctl("keyring", "kill")
    orca.speaks("No keyring: install one, such as gnome-keyring")
    client.desktop.key("Return")
    orca.speaks("Alert dialog Please enter user name", "OK button")
    client.desktop.key("Return")
    orca.speaks("Velmora frame", "User name text")
    client.desktop.key("Tab")
    orca.speaks("Password password text")
    client.desktop.key("shift+Tab")
    orca.speaks("User name text")
