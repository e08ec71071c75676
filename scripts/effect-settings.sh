# For the scripts that run every effect: settings that show what an effect does, where its defaults leave a photograph
# as it is. Effects that are not listed run with their defaults. To be sourced by bash.

declare -A settings=(
    [BalanceLuma]="shadows=60 highlights=20 autoContrast=true"
    [BlendPalette]="alpha=160 palette=0:#203080ff,255:#ffa03080"
    [ColorBalanceAuto]="whiteBalance=true lightBalance=true"
    [BlurRadial]="mode=spin angle=20 strength=0.2"
    [ColorReduce]="reducedColor=red"
    [CreateVideo]="width=400 height=300 color=#3878a0"
    [DirectionalAreaDeformation]="fromX=250 fromY=120 toX=330 toY=120 size=200"
    [EdgeRemove]="fromX=20 fromY=30 toX=180 toY=60 radius=12"
    [Segmentation]="demoMode=true alpha=160 smooth=2"
    [TintTemperature]="temperature=40 tint=-10"
    [WhiteBalance]="color=#c8b496"
)

# Names of all effects of the program KALVATRI that the command line offers, without the host's own steps.
list_effects() { # KALVATRI
    "$1" list --json | awk -F'"' '$2 == "effect" { name = $4 } $2 == "group" && $4 != "Host" { print name }' |
        grep -vx Custom
}
