"""Orca beside the client: it speaks what happens, each sentence once, and nothing else."""

import json
import os

from stage import check, labctl, scene, until

USER, PASSWORD = os.environ.get("VELMORA_LAB_USER"), os.environ.get("VELMORA_LAB_PASSWORD")

# Speech goes into a file, a sentence a line, and as sound to nowhere.
DISPATCHER = """
mkdir -p $1/modules
printf '%s\\n' 'AudioOutputMethod "libao"' 'AddModule "file" "sd_generic" "file.conf"' \
    'DefaultModule "file"' >$1/speechd.conf
printf '%s\\n' "GenericExecuteSynth \\"echo \\\\'\\$DATA\\\\' >>$1/spoken\\"" 'GenericMaxChunkLength 3000' \
    'GenericDelimiters ""' 'AddVoice "en" "male1" "one"' >$1/modules/file.conf
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


def signed_in(stage):
    orca = Orca(stage)
    client = stage.start_client()
    orca.speaks("Velmora frame", "User name text")
    client.desktop.type(USER)
    client.desktop.key("Tab")
    orca.speaks("Password password text")
    client.desktop.type(PASSWORD)
    client.desktop.key("Return")
    orca.speaks("Home, Disconnected")
    return orca, client


@scene("orca")
def orca_speaks_a_tunnel(stage):
    orca, client = signed_in(stage)
    client.choose("Berlin")
    orca.speaks("All locations", "List with 9 items", "Berlin, not a favourite")
    client.press("Quick Connect")
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
    client.desktop.focus(client.button("Measure latencies"))
    orca.speaks("Measure latencies button")
    client.desktop.key("space")
    orca.speaks("Latencies measured")
    client.press("Settings")
    orca.speaks("Settings")


@scene("orca")
def orca_speaks_what_opens(stage):
    orca, client = signed_in(stage)
    sentence = "New versions of Velmora come with the updates of your system"
    for opener, name, text, button in (
            ("Notice", "Stay up to date", sentence, "Update"),
            ("Installation", "Install updates", "Velmora can tell you how an update is installed", "Show how"),
            ("Recent places", "Recent places", "Open Velmora to connect to one of them", "Open Velmora")):
        client.press(opener)
        orca.speaks(f"{name} dialog {text}", f"{button} button")
        client.desktop.key("Escape")
        orca.speaks("Velmora frame", "Quick Connect button")
    client.press("Update")
    orca.speaks(f"Update Velmora dialog {sentence}", "Update button")
    client.desktop.key("Escape")
    orca.speaks("Quick Connect button")
    client.press("Settings")
    orca.speaks("Settings")
    client.press("Back to home")
    orca.speaks("Home, Disconnected")


@scene("orca")
def orca_speaks_what_is_missing(stage):
    labctl("nm", "stop")
    orca = Orca(stage)
    client = stage.start_client()
    orca.speaks("Velmora frame", "User name text", "No NetworkManager: install or start network-manager")
    labctl("keyring", "kill")
    orca.speaks("No keyring: install gnome-keyring")
    client.desktop.key("Return")
    orca.speaks("alert Alert", "Please enter user name", "OK button")
    client.desktop.key("Return")
    orca.speaks("Velmora frame", "User name text")
